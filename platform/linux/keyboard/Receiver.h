#pragma once

#include "platform/linux/keyboard/XKeyboard.h"

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
    [[nodiscard]] uint32_t ownerOf(xcb_window_t window) const;

    XKeyboard &m_keyboard;
    const uint32_t m_process;
    xcb_atom_t m_processName = XCB_ATOM_NONE;
    bool m_serverTells = false; ///< Whether the server knows its clients' processes.
};
