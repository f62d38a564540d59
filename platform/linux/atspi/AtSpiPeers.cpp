#include "platform/linux/atspi/AtSpiPeers.h"

std::shared_ptr<PrivateBus> AtSpiPeers::find(ProcessId application, const QByteArray &name) const
{
    const auto peer = m_peers.find({application, name});
    return peer == m_peers.end() ? nullptr : peer->second;
}

void AtSpiPeers::connect(ProcessId application, const QByteArray &name, const QByteArray &address,
                         std::chrono::milliseconds limit)
{
    std::erase_if(m_peers, [](const auto &peer) { return !peer.second->isOpen(); });
    // What else may stand in an address runs programs.
    if (!address.startsWith("unix:") || address.contains(';'))
        return;
    const auto peer = m_worker.run([address] { return PrivateBus::connectToPeer(address); }, limit);
    if (peer && (*peer)->isOpen())
        m_peers[{application, name}] = *peer;
}

void AtSpiPeers::drop(ProcessId application, const QByteArray &name)
{
    m_peers.erase({application, name});
}
