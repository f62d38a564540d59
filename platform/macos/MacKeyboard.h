#pragma once

#include "platform/Keyboard.h"

/// The keyboard over Quartz events.
class MacKeyboard final : public Keyboard
{
public:
    // Events belong to no keyboard that could stay changed.
    void recover() override {}
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
