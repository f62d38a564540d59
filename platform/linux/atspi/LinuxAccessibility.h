#pragma once

#include "base/WorkQueue.h"
#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtSpiBus.h"

/// Accessibility over AT-SPI. Trusted means that its bus answers and is enabled, which any program
/// may do.
class LinuxAccessibility final : public Accessibility
{
public:
    bool isTrusted() override;
    void requestTrust() override;
    /// The tree must be destroyed before this.
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;

private:
    WorkQueue m_queue{"atspi.bus"};
    AtSpiPeers m_peers;
};
