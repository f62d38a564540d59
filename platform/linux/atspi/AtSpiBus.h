#pragma once

#include "base/ProcessId.h"
#include "base/WorkQueue.h"
#include "platform/linux/atspi/DBus.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

/// The service of the session through which one gets to the accessibility bus. All of it blocks, up
/// to a deadline unless a bus has stopped.
namespace AtSpiBus {
/// Whether the bus is there and applications are asked to be on it.
[[nodiscard]] bool isEnabled(PrivateBus::Deadline deadline);

/// Asks applications to be on it. What is told is whether the service took the wish.
[[nodiscard]] bool enable(PrivateBus::Deadline deadline);

/// A connection to it; null if it does not answer.
[[nodiscard]] std::shared_ptr<PrivateBus> connect(PrivateBus::Deadline deadline);

/// Who is on it.
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
} // namespace AtSpiBus

/// Direct connections to applications whose toolkit offers them, which spares the bus half of the
/// work. They are kept from one action to the next: GTK 3 gets slower with each one that it ever
/// had.
class AtSpiPeers
{
public:
    /// The connection to the application under this name on the bus; null where there is none.
    [[nodiscard]] std::shared_ptr<PrivateBus> find(ProcessId application,
                                                   const QByteArray &name) const;

    /// Connects to it at the address that it named, if it did.
    void connect(ProcessId application, const QByteArray &name, const QByteArray &address,
                 std::chrono::milliseconds limit);

    void drop(ProcessId application, const QByteArray &name);

private:
    // Names begin anew with each bus, so one alone does not stand for an application.
    using Key = std::pair<ProcessId, QByteArray>;

    WorkQueue m_queue{"atspi.peers"};
    std::map<Key, std::shared_ptr<PrivateBus>> m_peers;
};
