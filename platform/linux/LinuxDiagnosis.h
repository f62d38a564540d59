#pragma once

#include "platform/Diagnosis.h"

class Accessibility;
class Shell;
class Workspace;

/// The diagnosis on Linux. The arguments must outlive it.
class LinuxDiagnosis final : public Diagnosis
{
public:
    LinuxDiagnosis(Accessibility &accessibility, Shell &shell, Workspace &workspace);

    Finding display() override;
    Finding accessibility() override;
    Finding hotKey() override;
    Finding screenCapture() override;
    Finding fileManager() override;

private:
    Accessibility &m_accessibility;
    Shell &m_shell;
    Workspace &m_workspace;
};
