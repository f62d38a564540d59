#pragma once

#include "platform/linux/keyboard/XKeyboard.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

/// A key that has another meaning for a while.
struct Loan
{
    KeyEntry before;
    std::vector<KeyEntry> ours; ///< What we gave it: the last meaning, and the one before.
};

/// What we have changed at the X server's keyboard, written down at the server itself. A process
/// that is killed can put nothing back; whichever of us comes next then does. The server tells the
/// dead from the living: with its connection a process loses the selection that goes with its
/// record. Throws a Failure if the server is gone.
class LoanRecord
{
public:
    explicit LoanRecord(XKeyboard &keyboard) : m_keyboard(keyboard) {}

    /// Puts back what processes have left that are no more: keys that were borrowed, keys that are
    /// down, locks.
    void recover();

    /// Begins our own record, before anything is changed.
    void begin();

    /// What is about to be changed; until it is written down, nothing is.
    void write(const std::map<xcb_keycode_t, Loan> &keys);
    void write(uint8_t locked);

    /// Everything is back to what it was.
    void end();

private:
    [[nodiscard]] std::vector<uint8_t> read(xcb_atom_t slot) const;
    [[nodiscard]] bool isOwned(xcb_atom_t slot) const;
    void putBack(const std::vector<uint8_t> &record);
    void write() const;

    XKeyboard &m_keyboard;
    std::optional<xcb_atom_t> m_slot; ///< Ours, once we have begun.
    std::map<xcb_keycode_t, Loan> m_keys;
    uint8_t m_locked = 0;
};
