#pragma once

#include "platform/linux/keyboard/XKeyboard.h"
#include "platform/linux/x11/Xcb.h"

#include <cstdint>

/// The process that the keys are for.
class Receiver
{
public:
    /// By its number, with 0 for one that the server cannot tell.
    Receiver(XKeyboard &keyboard, uint32_t process);

    /// Whether keys would go to it now.
    [[nodiscard]] bool hasKeyboard() const;

private:
    XKeyboard &m_keyboard;
    const uint32_t m_process;
    const WindowProcess m_owners;
};
