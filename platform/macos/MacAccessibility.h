#pragma once

#include "platform/Accessibility.h"

#include <QSet>

/// Accessibility as the system offers it to the programs that the user trusts with it.
class MacAccessibility final : public Accessibility
{
public:
    bool isTrusted() override;
    void requestTrust() override;
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;

private:
    QSet<ProcessId> m_awakened; ///< The processes that were told that their controls are wanted.
};
