#include "platform/linux/keyboard/KeyChanges.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace {
// Programs that may run at the same time: one for each action, and those that are still restoring.
constexpr int slots = 8;

// The first byte of a record: its version.
constexpr uint8_t format = 1;

// More than all keys with all their symbols need, in units of four bytes.
constexpr uint32_t mostWords = 1U << 16;

std::string slotName(int slot)
{
    return "_QUILLON_KEYBOARD_" + std::to_string(slot);
}

void append(std::vector<uint8_t> &record, const KeyEntry &entry)
{
    record.push_back(static_cast<uint8_t>(entry.size() & 0xff));
    record.push_back(static_cast<uint8_t>(entry.size() >> 8));
    record.insert(record.end(), entry.begin(), entry.end());
}

/// Reads a record from its beginning. Any program can write one, so it is validated.
class Reader
{
public:
    explicit Reader(std::span<const uint8_t> bytes) : m_rest(bytes) {}

    [[nodiscard]] bool isAtEnd() const { return m_rest.empty(); }

    std::optional<uint8_t> byte()
    {
        if (m_rest.empty())
            return std::nullopt;
        const uint8_t first = m_rest.front();
        m_rest = m_rest.subspan(1);
        return first;
    }

    std::optional<KeyEntry> entry()
    {
        const std::optional<uint8_t> low = byte();
        const std::optional<uint8_t> high = byte();
        const size_t size = low && high ? *low | static_cast<size_t>(*high) << 8 : 0;
        if (size < sizeof(xcb_xkb_key_sym_map_t) || size > m_rest.size())
            return std::nullopt;
        const std::span<const uint8_t> bytes = m_rest.first(size);
        m_rest = m_rest.subspan(size);
        return KeyEntry(bytes.begin(), bytes.end());
    }

    std::optional<std::pair<xcb_keycode_t, KeyChange>> change()
    {
        const std::optional<uint8_t> code = byte();
        const std::optional<uint8_t> count = byte();
        std::optional<KeyEntry> before = entry();
        if (!code || !count || !before)
            return std::nullopt;
        KeyChange change{.before = *std::move(before), .ours = {}};
        for (int i = 0; i < *count; ++i) {
            std::optional<KeyEntry> ours = entry();
            if (!ours)
                return std::nullopt;
            change.ours.push_back(*std::move(ours));
        }
        return std::pair(*code, std::move(change));
    }

private:
    std::span<const uint8_t> m_rest;
};

// The key types with which every map begins, according to the protocol.
constexpr uint8_t oneLevel = 0;
constexpr uint8_t alphabetic = 2;

KeyEntry entryOf(const std::vector<KeySymbol> &levels)
{
    const uint8_t type = levels.size() == 1 ? oneLevel : alphabetic;
    const xcb_xkb_key_sym_map_t head{.kt_index = {type, type, type, type},
                                     .groupInfo = 1, // the same in every group
                                     .width = static_cast<uint8_t>(levels.size()),
                                     .nSyms = static_cast<uint16_t>(levels.size())};
    KeyEntry bytes(sizeof head + levels.size() * sizeof(KeySymbol));
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, levels.data(), levels.size() * sizeof(KeySymbol));
    return bytes;
}

// Only characters beyond Latin-1 have keysyms from their code points. Applications do not know such
// keysyms for others.
bool isNumbered(KeySymbol symbol)
{
    return symbol >= 0x01000100;
}

// A letter and its other case, unless that has another kind of keysym: ẞ has one from its code
// point, ß does not.
std::vector<KeySymbol> levelsFor(KeySymbol symbol)
{
    const KeySymbol lower = xkb_keysym_to_lower(symbol);
    const KeySymbol upper = xkb_keysym_to_upper(symbol);
    const bool isPair = lower != upper && (symbol == lower || symbol == upper) &&
                        xkb_keysym_to_upper(lower) == upper &&
                        isNumbered(lower) == isNumbered(upper);
    return isPair ? std::vector{lower, upper} : std::vector{symbol};
}

// Locking keys act on the press; holding them has no effect.
bool isHolding(size_t modifier, const KeyMap &map)
{
    return modifier != XCB_MAP_INDEX_LOCK && (1U << modifier) != map.numLock();
}
} // namespace

void ChangeRecord::recover()
{
    const XKeyboard::ServerGrab grab(m_keyboard);
    std::vector<xcb_atom_t> left;
    bool isInUse = false;
    for (int slot = 0; slot < slots; ++slot) {
        const xcb_atom_t atom = m_keyboard.atom(slotName(slot));
        if (isOwned(atom))
            isInUse = true;
        else if (!read(atom).empty())
            left.push_back(atom);
    }
    if (left.empty())
        return;
    // A pressed key may belong to another program, if there is one.
    if (!isInUse)
        m_keyboard.releaseOurs();
    for (const xcb_atom_t atom : left) {
        putBack(read(atom));
        xcb_delete_property(m_keyboard.connection(), m_keyboard.root(), atom);
    }
    m_keyboard.sync();
}

void ChangeRecord::begin()
{
    const XKeyboard::ServerGrab grab(m_keyboard);
    const xcb_window_t owner = m_keyboard.makeWindow();
    for (int slot = 0; slot < slots && !m_slot; ++slot) {
        const xcb_atom_t atom = m_keyboard.atom(slotName(slot));
        if (isOwned(atom))
            continue;
        xcb_set_selection_owner(m_keyboard.connection(), owner, atom, XCB_CURRENT_TIME);
        m_slot = atom;
    }
    if (!m_slot)
        throw Failure("Too many programs type at once.");
    write();
}

void ChangeRecord::write(const std::map<xcb_keycode_t, KeyChange> &keys)
{
    m_keys = keys;
    write();
}

void ChangeRecord::write(uint8_t locked)
{
    m_locked = locked;
    write();
}

void ChangeRecord::end()
{
    if (!m_slot)
        return;
    xcb_delete_property(m_keyboard.connection(), m_keyboard.root(), *m_slot);
    xcb_set_selection_owner(m_keyboard.connection(), XCB_WINDOW_NONE, *m_slot, XCB_CURRENT_TIME);
    m_slot.reset();
    m_keyboard.sync();
}

std::vector<uint8_t> ChangeRecord::read(xcb_atom_t slot) const
{
    const auto reply = answered(Xcb::property(m_keyboard.connection(), m_keyboard.root(), slot,
                                              mostWords, XCB_ATOM_INTEGER));
    const std::span<const uint8_t> bytes = Xcb::bytes(reply.get());
    return {bytes.begin(), bytes.end()};
}

bool ChangeRecord::isOwned(xcb_atom_t slot) const
{
    return answered(xcb_get_selection_owner_reply(
                        m_keyboard.connection(),
                        xcb_get_selection_owner(m_keyboard.connection(), slot), nullptr))
               ->owner != XCB_WINDOW_NONE;
}

void ChangeRecord::putBack(const std::vector<uint8_t> &record)
{
    Reader reader(record);
    if (reader.byte() != format)
        return;
    const uint8_t locked = reader.byte().value_or(0);
    std::map<xcb_keycode_t, KeyEntry> changes;
    while (!reader.isAtEnd()) {
        const auto change = reader.change();
        if (!change)
            break;
        const auto &[code, key] = *change;
        if (code < xcb_get_setup(m_keyboard.connection())->min_keycode)
            continue;
        // Another program may have given it yet another meaning, which is kept.
        const std::vector<KeyEntry> current = m_keyboard.entries(code, code);
        if (std::ranges::find(key.ours, current.front()) != key.ours.end())
            changes[code] = key.before;
    }
    m_keyboard.change(changes);
    if (locked != 0)
        m_keyboard.lock(locked, locked);
}

void ChangeRecord::write() const
{
    if (!m_slot)
        return;
    std::vector<uint8_t> record{format, m_locked};
    for (const auto &[code, change] : m_keys) {
        record.push_back(code);
        record.push_back(static_cast<uint8_t>(change.ours.size()));
        append(record, change.before);
        for (const KeyEntry &entry : change.ours)
            append(record, entry);
    }
    xcb_change_property(m_keyboard.connection(), XCB_PROP_MODE_REPLACE, m_keyboard.root(), *m_slot,
                        XCB_ATOM_INTEGER, 8, static_cast<uint32_t>(record.size()), record.data());
}

void TemporaryKeyMapping::assign(const std::vector<xcb_keycode_t> &spareKeys,
                                 std::span<const KeySymbol> symbols)
{
    std::vector<xcb_keycode_t> free = spareKeys;
    for (const auto &[code, mapped] : m_keys)
        free.push_back(code);
    std::ranges::sort(free);
    if (free.empty())
        return;

    std::vector<std::vector<KeySymbol>> meanings;
    for (const KeySymbol symbol : symbols) {
        std::vector<KeySymbol> levels = levelsFor(symbol);
        if (std::ranges::find(meanings, levels) != meanings.end())
            continue;
        if (meanings.size() == free.size())
            break;
        meanings.push_back(std::move(levels));
    }

    const std::vector<KeyEntry> current = m_keyboard.entries(free.front(), free.back());
    std::map<xcb_keycode_t, KeyEntry> changes;
    for (size_t i = 0; i < free.size(); ++i) {
        const xcb_keycode_t code = free[i];
        const bool isUsed = i < meanings.size();
        if (isUsed && !m_keys.contains(code))
            m_keys[code].before = current[static_cast<size_t>(code - free.front())];
        if (!m_keys.contains(code))
            continue;
        KeyChange &change = m_keys[code];
        changes[code] = isUsed ? entryOf(meanings[i]) : change.before;
        // Until the change is done, the key has the meaning from our last change.
        change.ours.push_back(changes[code]);
        if (change.ours.size() > 2)
            change.ours.erase(change.ours.begin());
    }
    m_record.write(m_keys);
    m_keyboard.change(changes);
}

void TemporaryKeyMapping::restore()
{
    if (m_keys.empty())
        return;
    const xcb_keycode_t first = m_keys.begin()->first;
    const std::vector<KeyEntry> current = m_keyboard.entries(first, m_keys.rbegin()->first);
    std::map<xcb_keycode_t, KeyEntry> changes;
    for (const auto &[code, change] : m_keys) {
        if (current[static_cast<size_t>(code - first)] == change.ours.back())
            changes[code] = change.before;
    }
    m_keyboard.change(changes);
    m_keys.clear();
    m_record.write(m_keys);
}

void HeldModifiers::release(const KeyMap &map)
{
    // Num Lock only affects the keypad, which we do not use.
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
    // If the user released the key at this moment, it would stay down.
    for (const auto &[key, releases] : pressed) {
        if (m_keyboard.releases(key) > releases)
            m_keyboard.inject(key, false);
    }
    m_keyboard.sync();
}
