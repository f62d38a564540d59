#pragma once

#include "base/BoundedWorker.h"
#include "platform/Workspace.h"
#include "platform/linux/atspi/PrivateBus.h"

#include <map>
#include <memory>
#include <utility>

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

    BoundedWorker m_worker;
    std::map<Key, std::shared_ptr<PrivateBus>> m_peers;
};
