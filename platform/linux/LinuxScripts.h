#pragma once

#include "platform/Scripts.h"

/// A system without the language: every script fails, and says so.
class LinuxScripts final : public Scripts
{
public:
    ScriptOutcome run(const QString &) override
    {
        return ScriptError{QStringLiteral("AppleScript is only available on macOS.")};
    }
};
