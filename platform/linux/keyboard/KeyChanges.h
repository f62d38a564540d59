#pragma once

#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

// Temporary changes to the user's keyboard, and restoring it.

/// A key with a temporary meaning.
struct KeyChange
{
    KeyEntry before;
    std::vector<KeyEntry>
        ours; ///< The meanings that we have given it: the last one, and the one before.
};

/// A record of our changes to the keyboard, stored in the X server. A process that is killed cannot
/// restore them, but the next one can. Each record has a selection, which a process loses with its
/// connection; so the server tells whether the process still exists. Throws a Failure if the server
/// is gone.
class ChangeRecord
{
public:
    explicit ChangeRecord(XKeyboard &keyboard) : m_keyboard(keyboard) {}

    /// Restores what ended processes have left: temporary meanings, pressed keys, locks.
    void recover();

    /// Creates our own record, before anything is changed.
    void begin();

    /// Records a change; must be called before the change.
    void write(const std::map<xcb_keycode_t, KeyChange> &keys);
    void write(uint8_t locked);

    /// Removes the record, after everything is restored.
    void end();

private:
    [[nodiscard]] std::vector<uint8_t> read(xcb_atom_t slot) const;
    [[nodiscard]] bool isOwned(xcb_atom_t slot) const;
    void putBack(const std::vector<uint8_t> &record);
    void write() const;

    XKeyboard &m_keyboard;
    std::optional<xcb_atom_t> m_slot; ///< Ours, after begin().
    std::map<xcb_keycode_t, KeyChange> m_keys;
    uint8_t m_locked = 0;
};

/// Temporarily maps spare keys to symbols that no other key has.
class TemporaryKeyMapping
{
public:
    TemporaryKeyMapping(XKeyboard &keyboard, ChangeRecord &record)
        : m_keyboard(keyboard), m_record(record)
    {
    }

    /// Maps the keys, and those that are mapped already, to as many of the symbols as possible, in
    /// order.
    void assign(const std::vector<xcb_keycode_t> &spareKeys, std::span<const KeySymbol> symbols);

    /// Removes the mappings, except from keys that another program has mapped meanwhile.
    void restore();

    [[nodiscard]] bool contains(xcb_keycode_t code) const { return m_keys.contains(code); }
    [[nodiscard]] bool isEmpty() const { return m_keys.empty(); }

private:
    XKeyboard &m_keyboard;
    ChangeRecord &m_record;
    std::map<xcb_keycode_t, KeyChange> m_keys;
};

/// Releases and unlocks the modifiers that the user or another program holds or has locked, while
/// we type. Held keys are pressed again afterwards unless they were released meanwhile.
class HeldModifiers
{
public:
    HeldModifiers(XKeyboard &keyboard, ChangeRecord &record)
        : m_keyboard(keyboard), m_record(record)
    {
    }

    /// Releases the modifiers that are held now. We must not hold any ourselves.
    void release(const KeyMap &map);

    /// Restores them.
    void restore();

private:
    XKeyboard &m_keyboard;
    ChangeRecord &m_record;
    std::map<DeviceKey, int> m_held; ///< With the number of releases by others before ours.
    uint8_t m_locked = 0;
};
