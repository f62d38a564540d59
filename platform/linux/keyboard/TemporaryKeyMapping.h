#pragma once

#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <map>
#include <span>

/// Keys without a meaning that stand in for symbols that no other key has, for a while.
class TemporaryKeyMapping
{
public:
    explicit TemporaryKeyMapping(XKeyboard &keyboard) : m_keyboard(keyboard) {}

    /// Gives the keys, and those that are borrowed already, new meanings: as many of the symbols,
    /// in their order, as there is room for.
    void assign(const std::vector<xcb_keycode_t> &spareKeys, std::span<const KeySymbol> symbols);

    /// Takes the meanings away, except from keys that somebody else has given another one.
    void restore();

    [[nodiscard]] bool contains(xcb_keycode_t code) const { return m_keys.contains(code); }
    [[nodiscard]] bool isEmpty() const { return m_keys.empty(); }

private:
    struct Borrowed
    {
        KeyEntry before;
        KeyEntry now;
    };

    XKeyboard &m_keyboard;
    std::map<xcb_keycode_t, Borrowed> m_keys;
};
