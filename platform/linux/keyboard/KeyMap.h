#pragma once

#include "platform/linux/keyboard/XKeyboard.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

/// An X keysym: what a key types or does. Some characters have several; they count as equal.
using KeySymbol = uint32_t;

/// The key to press for a symbol, and the modifiers to hold with it.
struct Stroke
{
    xcb_keycode_t code = 0;
    uint8_t modifiers = 0;
};

/// The meaning of the keys at one time, in the current group.
class KeyMap
{
public:
    /// Reads it from the server.
    explicit KeyMap(XKeyboard &keyboard);

    /// The stroke with the fewest modifiers, among those that layouts use for characters.
    [[nodiscard]] std::optional<Stroke> find(KeySymbol symbol) const;

    /// A key for one of the eight modifiers, if there is one without another function.
    [[nodiscard]] std::optional<xcb_keycode_t> holder(uint8_t modifier) const;

    /// The modifiers of Alt and of Num Lock; 0 if there is none.
    [[nodiscard]] uint8_t alt() const { return m_alt; }
    [[nodiscard]] uint8_t numLock() const { return m_numLock; }

    /// The keys without a symbol in any group.
    [[nodiscard]] const std::vector<xcb_keycode_t> &spareKeys() const { return m_spare; }

    /// The group of all this.
    [[nodiscard]] uint8_t group() const { return m_group; }

private:
    void addModifier(uint8_t modifier, xcb_keycode_t code, KeySymbol meaning);
    void addStroke(KeySymbol symbol, Stroke stroke);

    uint8_t m_group = 0;
    uint8_t m_forCharacters = 0; ///< The modifiers that layouts use to select characters.
    uint8_t m_alt = 0;
    uint8_t m_numLock = 0;
    std::unordered_map<KeySymbol, Stroke> m_strokes;
    std::unordered_map<uint8_t, xcb_keycode_t> m_holders;
    std::vector<xcb_keycode_t> m_spare;
};
