#pragma once

#include "platform/Workspace.h"
#include "platform/linux/atspi/DBusMessages.h"
#include "platform/linux/atspi/PrivateBus.h"

#include <optional>

/// Who is on the accessibility bus.
namespace AtSpiRegistry {
struct Listing
{
    QList<DBusObject> application; ///< The roots of the application that was asked for.
    QList<DBusObject> ourselves;
};

/// Looks for the application that this process belongs to; nothing where the bus does not answer.
[[nodiscard]] std::optional<Listing> find(PrivateBus &bus, ProcessId process,
                                          PrivateBus::Deadline deadline);
} // namespace AtSpiRegistry
