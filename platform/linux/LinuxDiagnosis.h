#pragma once

#include "platform/Diagnosis.h"

class Accessibility;
class Shell;
class Workspace;

/// The diagnosis of a desktop on Linux. Borrows what it asks, which must outlive it.
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
