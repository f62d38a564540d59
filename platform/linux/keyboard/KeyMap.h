#pragma once

#include "platform/linux/keyboard/XKeyboard.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

/// The X name of what a key types or does. Characters have more than one; they count as the same.
using KeySymbol = uint32_t;

/// The key to press for a symbol, and the modifiers to hold with it.
struct Stroke
{
    xcb_keycode_t code = 0;
    uint8_t modifiers = 0;
};

/// What the keys mean at one moment, in the group that is in use.
class KeyMap
{
public:
    /// Asks the server.
    explicit KeyMap(XKeyboard &keyboard);

    /// The stroke with the fewest modifiers, of those that a layout has for characters.
    [[nodiscard]] std::optional<Stroke> find(KeySymbol symbol) const;

    /// The key that holds one of the eight modifiers, if there is one that does nothing else.
    [[nodiscard]] std::optional<xcb_keycode_t> holder(uint8_t modifier) const;

    /// The modifier that Alt, and that Num Lock, is here; 0 where there is none.
    [[nodiscard]] uint8_t alt() const { return m_alt; }
    [[nodiscard]] uint8_t numLock() const { return m_numLock; }

    /// The keys that mean nothing in any group.
    [[nodiscard]] const std::vector<xcb_keycode_t> &spareKeys() const { return m_spare; }

    /// The group in which all of this was looked up.
    [[nodiscard]] uint8_t group() const { return m_group; }

private:
    void addModifier(uint8_t modifier, xcb_keycode_t code, KeySymbol meaning);
    void addStroke(KeySymbol symbol, Stroke stroke);

    uint8_t m_group = 0;
    uint8_t m_forCharacters = 0; ///< The modifiers with which layouts tell characters apart.
    uint8_t m_alt = 0;
    uint8_t m_numLock = 0;
    std::unordered_map<KeySymbol, Stroke> m_strokes;
    std::unordered_map<uint8_t, xcb_keycode_t> m_holders;
    std::vector<xcb_keycode_t> m_spare;
};
