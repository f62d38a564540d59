#pragma once

#include "platform/Diagnosis.h"

#include <functional>

class Accessibility;
class Shell;

/// The diagnosis on macOS. The arguments must outlive it.
class MacDiagnosis final : public Diagnosis
{
public:
    /// `panelHasKey` tells whether another process of this program has the hot key.
    MacDiagnosis(Accessibility &accessibility, Shell &shell, std::function<bool()> panelHasKey);

    Finding display() override;
    Finding accessibility() override;
    Finding hotKey() override;
    Finding screenCapture() override;
    Finding fileManager() override;

private:
    Accessibility &m_accessibility;
    Shell &m_shell;
    std::function<bool()> m_panelHasKey;
};
