#pragma once

#include "platform/Diagnosis.h"

class Accessibility;
class Shell;

/// The diagnosis of a Mac. Borrows what it asks, which must outlive it.
class MacDiagnosis final : public Diagnosis
{
public:
    MacDiagnosis(Accessibility &accessibility, Shell &shell);

    Finding display() override;
    Finding accessibility() override;
    Finding hotKey() override;
    Finding screenCapture() override;
    Finding fileManager() override;

private:
    Accessibility &m_accessibility;
    Shell &m_shell;
};
