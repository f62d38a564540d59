#pragma once

#include "platform/Accessibility.h"

#include <QSet>

/// The system's accessibility interface, which needs the user's permission.
class MacAccessibility final : public Accessibility
{
public:
    bool isTrusted() override;
    void requestTrust() override;
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;

private:
    QSet<ProcessId> m_awakened; ///< The processes whose accessibility has been enabled.
};
