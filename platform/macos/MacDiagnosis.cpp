#include "platform/macos/MacDiagnosis.h"

#include "platform/Accessibility.h"
#include "platform/Shell.h"
#include "platform/macos/MacHotKey.h"

#include <CoreGraphics/CoreGraphics.h>

using Verdict = Finding::Verdict;

MacDiagnosis::MacDiagnosis(Accessibility &accessibility, Shell &shell)
    : m_accessibility(accessibility), m_shell(shell)
{
}

Finding MacDiagnosis::display()
{
    if (m_shell.hasDisplay())
        return {Verdict::good, QStringLiteral("this login has a desktop")};
    return {Verdict::bad, QStringLiteral("none"),
            QStringLiteral("Log in at the Mac itself: this login has no desktop.")};
}

Finding MacDiagnosis::accessibility()
{
    if (m_accessibility.isTrusted())
        return {Verdict::good, QStringLiteral("allowed")};
    // The system remembers a program by its signature, and goes on showing the switch of an older
    // one.
    return {Verdict::bad, QStringLiteral("not allowed"),
            QStringLiteral("Switch on Quillon (or the terminal that it was started in) in System "
                           "Settings, Privacy & Security, Accessibility. If it is on there, remove "
                           "it with the minus button and add it again.")};
}

Finding MacDiagnosis::hotKey()
{
    if (!MacHotKey::isReserved())
        return {Verdict::good, QStringLiteral("no other application keeps Option+Space to itself")};
    return {Verdict::limited, QStringLiteral("Option+Space belongs to another application"),
            QStringLiteral("Give that application another key, or click Quillon in the Dock.")};
}

Finding MacDiagnosis::screenCapture()
{
    if (CGPreflightScreenCaptureAccess())
        return {Verdict::good, QStringLiteral("allowed")};
    return {Verdict::limited, QStringLiteral("not allowed"),
            QStringLiteral("Switch on Quillon (or the terminal that it was started in) in System "
                           "Settings, Privacy & Security, Screen Recording.")};
}

Finding MacDiagnosis::fileManager()
{
    return {Verdict::good, QStringLiteral("Finder")};
}
