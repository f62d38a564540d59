#include "platform/linux/keyboard/HeldModifiers.h"

#include "platform/linux/keyboard/KeyMap.h"

#include <algorithm>
#include <utility>

namespace {
// Keys that lock do so when they go down; that they are held means nothing.
bool isHolding(size_t modifier, const KeyMap &map)
{
    return modifier != XCB_MAP_INDEX_LOCK && (1U << modifier) != map.numLock();
}
} // namespace

void HeldModifiers::release(const KeyMap &map)
{
    // The digits of the keypad are all that Num Lock matters to, and we never type on the keypad.
    const auto locked = static_cast<uint8_t>(m_keyboard.state()->lockedMods & ~map.numLock());
    m_locked |= locked;
    m_record.write(m_locked);
    m_keyboard.lock(locked, 0);

    const std::vector<DeviceKey> held = m_keyboard.heldKeys();
    if (held.empty())
        return;
    const std::vector<std::vector<xcb_keycode_t>> modifiers = m_keyboard.modifierKeys();
    for (const DeviceKey &key : held) {
        for (size_t modifier = 0; modifier < modifiers.size(); ++modifier) {
            if (!isHolding(modifier, map) ||
                std::ranges::find(modifiers[modifier], key.code) == modifiers[modifier].end())
                continue;
            m_held[key] = m_keyboard.releases(key);
            m_keyboard.inject(key, false);
            break;
        }
    }
    m_keyboard.sync();
}

void HeldModifiers::restore()
{
    if (const uint8_t locked = std::exchange(m_locked, uint8_t{0}))
        m_keyboard.lock(locked, locked);
    m_record.write(m_locked);
    m_keyboard.sync();
    std::map<DeviceKey, int> pressed;
    for (const auto &[key, releases] : std::exchange(m_held, {})) {
        if (m_keyboard.releases(key) > releases)
            continue;
        m_keyboard.inject(key, true);
        pressed.emplace(key, releases);
    }
    m_keyboard.sync();
    // Who has let go at this very moment would find the key down for good.
    for (const auto &[key, releases] : pressed) {
        if (m_keyboard.releases(key) > releases)
            m_keyboard.inject(key, false);
    }
    m_keyboard.sync();
}
