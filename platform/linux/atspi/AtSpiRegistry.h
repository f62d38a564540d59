#pragma once

#include "platform/Workspace.h"
#include "platform/linux/atspi/DBusMessages.h"
#include "platform/linux/atspi/PrivateBus.h"

#include <optional>
#include <set>

/// Who is on the accessibility bus.
namespace AtSpiRegistry {
struct Listing
{
    QList<DBusObject> application; ///< The roots of the application that was asked for.
    QList<DBusObject> ourselves;
};

/// Looks for the application that this process belongs to, and for the assistant, which runs as
/// `ours`; nothing where the bus does not answer.
[[nodiscard]] std::optional<Listing> find(PrivateBus &bus, ProcessId process,
                                          const std::set<ProcessId> &ours,
                                          PrivateBus::Deadline deadline);
} // namespace AtSpiRegistry
