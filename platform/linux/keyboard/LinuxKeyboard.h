#pragma once

#include "platform/Keyboard.h"

/// The keyboard of an X desktop. What touches it is a program of its own for each source: it cleans
/// up behind itself also when we die, and a server that hangs holds only that program up.
class LinuxKeyboard final : public Keyboard
{
public:
    void recover() override;
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
