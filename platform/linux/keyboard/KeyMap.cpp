#include "platform/linux/keyboard/KeyMap.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <bit>
#include <span>

namespace {
struct Unreferenced
{
    void operator()(xkb_context *context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap *map) const { xkb_keymap_unref(map); }
    void operator()(xkb_state *state) const { xkb_state_unref(state); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unreferenced>;

// Function keys, and those of the keypad.
bool isFunction(KeySymbol symbol)
{
    return symbol >= 0xfd00 && symbol <= 0xffff;
}

// The same symbol for a character, whichever name a layout uses.
KeySymbol canonical(KeySymbol symbol)
{
    constexpr KeySymbol unicode = 0x01000000;
    const uint32_t character = isFunction(symbol) ? 0 : xkb_keysym_to_utf32(symbol);
    return character == 0 ? symbol : unicode | character;
}

std::span<const xkb_keysym_t> symbolsAt(xkb_keymap *map, xcb_keycode_t code,
                                        xkb_layout_index_t layout, xkb_level_index_t level)
{
    const xkb_keysym_t *symbols = nullptr;
    const int count = xkb_keymap_key_get_syms_by_level(map, code, layout, level, &symbols);
    return {symbols, static_cast<size_t>(std::max(count, 0))};
}

bool isSpare(xkb_keymap *map, xcb_keycode_t code)
{
    for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts_for_key(map, code);
         ++layout) {
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(map, code, layout);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            if (!symbolsAt(map, code, layout, level).empty())
                return false;
        }
    }
    return true;
}

// The symbols of the key in the current group by level; none for a level with several symbols.
std::vector<KeySymbol> meanings(xkb_state *state, xcb_keycode_t code)
{
    xkb_keymap *const map = xkb_state_get_keymap(state);
    const xkb_layout_index_t layout = xkb_state_key_get_layout(state, code);
    std::vector<KeySymbol> all;
    if (layout == XKB_LAYOUT_INVALID)
        return all;
    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(map, code, layout);
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        const std::span<const xkb_keysym_t> symbols = symbolsAt(map, code, layout, level);
        all.push_back(symbols.size() == 1 ? symbols[0] : XKB_KEY_NoSymbol);
    }
    return all;
}

// The combinations of modifiers for a level of the key.
std::vector<xkb_mod_mask_t> modifiersFor(xkb_state *state, xcb_keycode_t code,
                                         xkb_level_index_t level)
{
    std::vector<xkb_mod_mask_t> masks(16);
    masks.resize(xkb_keymap_key_get_mods_for_level(xkb_state_get_keymap(state), code,
                                                   xkb_state_key_get_layout(state, code), level,
                                                   masks.data(), masks.size()));
    return masks;
}
} // namespace

KeyMap::KeyMap(XKeyboard &keyboard)
{
    const Owned<xkb_context> context(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES));
    const Owned<xkb_keymap> map(xkb_x11_keymap_new_from_device(
        context.get(), keyboard.connection(), keyboard.device(), XKB_KEYMAP_COMPILE_NO_FLAGS));
    const Owned<xkb_state> state(
        map ? xkb_x11_state_new_from_device(map.get(), keyboard.connection(), keyboard.device())
            : nullptr);
    if (!state)
        throw Failure("The X server does not tell its keyboard layout.");
    m_group =
        static_cast<uint8_t>(xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE));

    const std::vector<std::vector<xcb_keycode_t>> modifierKeys = keyboard.modifierKeys();
    for (unsigned i = 0; i < modifierKeys.size(); ++i) {
        for (const xcb_keycode_t code : modifierKeys[i]) {
            const std::vector<KeySymbol> levels = meanings(state.get(), code);
            if (!levels.empty())
                addModifier(static_cast<uint8_t>(1U << i), code, levels.front());
        }
    }
    const xkb_keycode_t last = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(map.get()), 255);
    for (xkb_keycode_t key = xkb_keymap_min_keycode(map.get()); key <= last; ++key) {
        const auto code = static_cast<xcb_keycode_t>(key);
        const bool isModifier = std::ranges::any_of(modifierKeys, [&](const auto &codes) {
            return std::ranges::find(codes, code) != codes.end();
        });
        if (isSpare(map.get(), code) && !isModifier)
            m_spare.push_back(code);

        const std::vector<KeySymbol> levels = meanings(state.get(), code);
        // With a modifier, terminals interpret such a key's function on another level as a command.
        const bool hasOnlyBase = std::ranges::any_of(levels, isFunction);
        for (xkb_level_index_t level = 0; level < (hasOnlyBase ? 1 : levels.size()); ++level) {
            for (const xkb_mod_mask_t mask : modifiersFor(state.get(), code, level)) {
                if ((mask & ~static_cast<xkb_mod_mask_t>(m_forCharacters)) == 0)
                    addStroke(levels[level], {code, static_cast<uint8_t>(mask)});
            }
        }
    }
}

void KeyMap::addModifier(uint8_t modifier, xcb_keycode_t code, KeySymbol meaning)
{
    switch (meaning) {
    case XKB_KEY_ISO_Level3_Shift:
    case XKB_KEY_Shift_L:
    case XKB_KEY_Shift_R:
        m_forCharacters |= modifier;
        break;
    case XKB_KEY_Alt_L:
    case XKB_KEY_Alt_R:
        m_alt = modifier;
        break;
    case XKB_KEY_Control_L:
    case XKB_KEY_Control_R:
        break;
    case XKB_KEY_Num_Lock:
        m_numLock = modifier;
        return;
    default:
        return;
    }
    m_holders.try_emplace(modifier, code);
}

void KeyMap::addStroke(KeySymbol symbol, Stroke stroke)
{
    if (symbol == XKB_KEY_NoSymbol)
        return;
    const auto [known, isNew] = m_strokes.try_emplace(canonical(symbol), stroke);
    if (!isNew && std::popcount(stroke.modifiers) < std::popcount(known->second.modifiers))
        known->second = stroke;
}

std::optional<Stroke> KeyMap::find(KeySymbol symbol) const
{
    const auto found = m_strokes.find(canonical(symbol));
    return found == m_strokes.end() ? std::nullopt : std::optional(found->second);
}

std::optional<xcb_keycode_t> KeyMap::holder(uint8_t modifier) const
{
    const auto found = m_holders.find(modifier);
    return found == m_holders.end() ? std::nullopt : std::optional(found->second);
}
