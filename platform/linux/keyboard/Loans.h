#pragma once

#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

// What is changed at the user's keyboard for a while, and how it is given back.

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

/// Keys without a meaning that type symbols which no other key has, for a while.
class TemporaryKeyMapping
{
public:
    TemporaryKeyMapping(XKeyboard &keyboard, LoanRecord &record)
        : m_keyboard(keyboard), m_record(record)
    {
    }

    /// Gives the keys, and those that are borrowed already, new meanings: as many of the symbols,
    /// in their order, as there is room for.
    void assign(const std::vector<xcb_keycode_t> &spareKeys, std::span<const KeySymbol> symbols);

    /// Takes the meanings away, except from keys that another program has given another one.
    void restore();

    [[nodiscard]] bool contains(xcb_keycode_t code) const { return m_keys.contains(code); }
    [[nodiscard]] bool isEmpty() const { return m_keys.empty(); }

private:
    XKeyboard &m_keyboard;
    LoanRecord &m_record;
    std::map<xcb_keycode_t, Loan> m_keys;
};

/// The modifiers that the user, or another program, holds down or has locked, out of the way while
/// we type. Held keys are pressed again afterwards unless they have been let go in the meantime.
class HeldModifiers
{
public:
    HeldModifiers(XKeyboard &keyboard, LoanRecord &record) : m_keyboard(keyboard), m_record(record)
    {
    }

    /// Releases what is in the way now. We may hold nothing ourselves meanwhile.
    void release(const KeyMap &map);

    /// Gives everything back.
    void restore();

private:
    XKeyboard &m_keyboard;
    LoanRecord &m_record;
    std::map<DeviceKey, int> m_held; ///< And how often others had released it before us.
    uint8_t m_locked = 0;
};
