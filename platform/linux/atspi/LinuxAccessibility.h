#pragma once

#include "base/WorkQueue.h"
#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtSpiBus.h"

/// Accessibility over AT-SPI. We are trusted when its bus answers and is enabled, which is a wish
/// that every program may express.
class LinuxAccessibility final : public Accessibility
{
public:
    bool isTrusted() override;
    void requestTrust() override;
    /// The tree has to go before this does.
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;

private:
    WorkQueue m_queue{"atspi.bus"};
    AtSpiPeers m_peers;
};
