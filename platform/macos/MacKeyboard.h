#pragma once

#include "platform/Keyboard.h"

/// The keyboard over Quartz events.
class MacKeyboard final : public Keyboard
{
public:
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
