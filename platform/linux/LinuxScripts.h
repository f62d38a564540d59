#pragma once

#include "platform/Scripts.h"

using Qt::StringLiterals::operator""_s;

/// A system without the language: every script fails, and says so.
class LinuxScripts final : public Scripts
{
public:
    ScriptOutcome run(const QString &) override
    {
        return ScriptError{u"AppleScript is only available on macOS."_s};
    }
};
