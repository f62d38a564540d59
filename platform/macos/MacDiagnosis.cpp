#include "platform/macos/MacDiagnosis.h"

#include "platform/Accessibility.h"
#include "platform/Shell.h"
#include "platform/macos/MacHotKey.h"

#include <CoreGraphics/CoreGraphics.h>

#include <utility>

using namespace Qt::StringLiterals;

using Verdict = Finding::Verdict;

MacDiagnosis::MacDiagnosis(Accessibility &accessibility, Shell &shell,
                           std::function<bool()> panelHasKey)
    : m_accessibility(accessibility), m_shell(shell), m_panelHasKey(std::move(panelHasKey))
{
}

Finding MacDiagnosis::display()
{
    if (m_shell.hasDisplay())
        return {Verdict::good, u"this login has a desktop"_s};
    return {Verdict::bad, u"none"_s, u"Log in at the Mac itself: this login has no desktop."_s};
}

Finding MacDiagnosis::accessibility()
{
    if (m_accessibility.isTrusted())
        return {Verdict::good, u"allowed"_s};
    // The system identifies a program by its signature and may still show the switch of an older
    // build.
    return {Verdict::bad, u"not allowed"_s,
            u"Switch on Quillon (or the terminal that it was started in) in System "
            "Settings, Privacy & Security, Accessibility. If it is on there, remove "
            "it with the minus button and add it again."_s};
}

Finding MacDiagnosis::hotKey()
{
    if (!MacHotKey::isReserved())
        return {Verdict::good, u"no other application keeps Option+Space to itself"_s};
    // Carbon's header says both that an exclusive hot key excludes all others and that it conflicts
    // only with another exclusive one. Our panel registers a non-exclusive one.
    if (m_panelHasKey())
        return {Verdict::good, u"Option+Space shows and hides the running Quillon"_s};
    return {Verdict::limited, u"Option+Space belongs to another application"_s,
            u"Give that application another key, or click Quillon in the Dock."_s};
}

Finding MacDiagnosis::screenCapture()
{
    if (CGPreflightScreenCaptureAccess())
        return {Verdict::good, u"allowed"_s};
    return {Verdict::limited, u"not allowed"_s,
            u"Switch on Quillon (or the terminal that it was started in) in System "
            "Settings, Privacy & Security, Screen Recording."_s};
}

Finding MacDiagnosis::fileManager()
{
    return {Verdict::good, u"Finder"_s};
}
