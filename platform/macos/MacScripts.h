#pragma once

#include "platform/Scripts.h"

/// AppleScript.
class MacScripts final : public Scripts
{
public:
    ScriptOutcome run(const QString &source) override;
};
