#pragma once

#include "platform/Keyboard.h"

/// The keyboard of an X desktop. A separate program for each source injects the events: it restores
/// the keyboard even if this process is killed, and a server that hangs blocks only that program.
class LinuxKeyboard final : public Keyboard
{
public:
    void recover() override;
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
