#pragma once

#include "platform/Keyboard.h"

/// Injects Quartz events.
class MacKeyboard final : public Keyboard
{
public:
    // Events change no state that would have to be restored.
    void recover() override {}
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
