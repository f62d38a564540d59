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

/// The session's service for the accessibility bus. All functions block until the deadline at most,
/// unless a bus has stopped.
namespace AtSpiBus {
/// Whether the bus exists and accessibility is enabled.
[[nodiscard]] bool isEnabled(PrivateBus::Deadline deadline);

/// Enables accessibility. Returns whether the service accepted that.
[[nodiscard]] bool enable(PrivateBus::Deadline deadline);

/// A connection to the bus; null if it does not answer.
[[nodiscard]] std::shared_ptr<PrivateBus> connect(PrivateBus::Deadline deadline);

/// The applications on the bus.
struct Listing
{
    QList<DBusObject> application; ///< The roots of the requested application.
    QList<DBusObject> ourselves;
};

/// Finds the application of the process, and the assistant's own, which runs as `ours`; nothing if
/// the bus does not answer.
[[nodiscard]] std::optional<Listing> find(PrivateBus &bus, ProcessId process,
                                          const std::set<ProcessId> &ours,
                                          PrivateBus::Deadline deadline);
} // namespace AtSpiBus

/// Direct connections to applications whose toolkit offers them, which halves the bus's work. They
/// are kept between actions: GTK 3 gets slower with each connection that it ever had.
class AtSpiPeers
{
public:
    /// The connection to the application with this bus name; null if there is none.
    [[nodiscard]] std::shared_ptr<PrivateBus> find(ProcessId application,
                                                   const QByteArray &name) const;

    /// Connects to the application at its address, if it has given one.
    void connect(ProcessId application, const QByteArray &name, const QByteArray &address,
                 std::chrono::milliseconds limit);

    void drop(ProcessId application, const QByteArray &name);

private:
    // Each bus numbers its names from the start, so a name alone does not identify an application.
    using Key = std::pair<ProcessId, QByteArray>;

    WorkQueue m_queue{"atspi.peers"};
    std::map<Key, std::shared_ptr<PrivateBus>> m_peers;
};
