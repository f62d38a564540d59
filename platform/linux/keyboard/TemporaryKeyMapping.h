#pragma once

#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/LoanRecord.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <map>
#include <span>

/// Keys without a meaning that stand in for symbols that no other key has, for a while.
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

    /// Takes the meanings away, except from keys that somebody else has given another one.
    void restore();

    [[nodiscard]] bool contains(xcb_keycode_t code) const { return m_keys.contains(code); }
    [[nodiscard]] bool isEmpty() const { return m_keys.empty(); }

private:
    XKeyboard &m_keyboard;
    LoanRecord &m_record;
    std::map<xcb_keycode_t, Loan> m_keys;
};
