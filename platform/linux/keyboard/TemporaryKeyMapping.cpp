#include "platform/linux/keyboard/TemporaryKeyMapping.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstring>

namespace {
// The first types of every map, as the protocol has it.
constexpr uint8_t oneLevel = 0;
constexpr uint8_t alphabetic = 2;

KeyEntry entry(const std::vector<KeySymbol> &levels)
{
    const uint8_t type = levels.size() == 1 ? oneLevel : alphabetic;
    const xcb_xkb_key_sym_map_t head{.kt_index = {type, type, type, type},
                                     .groupInfo = 1, // The same in every group.
                                     .width = static_cast<uint8_t>(levels.size()),
                                     .nSyms = static_cast<uint16_t>(levels.size())};
    KeyEntry bytes(sizeof head + levels.size() * sizeof(KeySymbol));
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, levels.data(), levels.size() * sizeof(KeySymbol));
    return bytes;
}

// Characters beyond Latin-1 are named by their numbers. Applications know no such names for others.
bool isNumbered(KeySymbol symbol)
{
    return symbol >= 0x01000100;
}

// A letter brings its other case along, unless it is of another kind: ẞ is numbered, ß is not.
std::vector<KeySymbol> levelsFor(KeySymbol symbol)
{
    const KeySymbol lower = xkb_keysym_to_lower(symbol);
    const KeySymbol upper = xkb_keysym_to_upper(symbol);
    const bool isPair = lower != upper && (symbol == lower || symbol == upper) &&
                        xkb_keysym_to_upper(lower) == upper &&
                        isNumbered(lower) == isNumbered(upper);
    return isPair ? std::vector{lower, upper} : std::vector{symbol};
}
} // namespace

void TemporaryKeyMapping::assign(const std::vector<xcb_keycode_t> &spareKeys,
                                 std::span<const KeySymbol> symbols)
{
    std::vector<xcb_keycode_t> free = spareKeys;
    for (const auto &[code, borrowed] : m_keys)
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
        Loan &loan = m_keys[code];
        changes[code] = isUsed ? entry(meanings[i]) : loan.before;
        // Until the change is done, the key has the meaning that we gave it before.
        loan.ours.push_back(changes[code]);
        if (loan.ours.size() > 2)
            loan.ours.erase(loan.ours.begin());
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
    for (const auto &[code, loan] : m_keys) {
        if (current[static_cast<size_t>(code - first)] == loan.ours.back())
            changes[code] = loan.before;
    }
    m_keyboard.change(changes);
    m_keys.clear();
    m_record.write(m_keys);
}
