#pragma once

#include "platform/Diagnosis.h"

#include <functional>

class Accessibility;
class Shell;

/// The diagnosis on macOS. The arguments must outlive it.
class MacDiagnosis final : public Diagnosis
{
public:
    /// `panelRuns` tells whether another process of this program shows the panel.
    MacDiagnosis(Accessibility &accessibility, Shell &shell, std::function<bool()> panelRuns);

    Finding display() override;
    Finding accessibility() override;
    Finding hotKey() override;
    Finding screenCapture() override;
    Finding fileManager() override;

private:
    Accessibility &m_accessibility;
    Shell &m_shell;
    std::function<bool()> m_panelRuns;
};
