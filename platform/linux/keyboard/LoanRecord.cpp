#include "platform/linux/keyboard/LoanRecord.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

namespace {
// Programs that type at the same time: one for each action, and those that are still tidying up.
constexpr int slots = 8;

// The first byte of a record, for programs that write another kind.
constexpr uint8_t format = 1;

// More than all keys with all their symbols take, in the server's units of four bytes.
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

/// Takes a record apart from its beginning. Any program can write one, so nothing is expected.
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

    std::optional<std::pair<xcb_keycode_t, Loan>> loan()
    {
        const std::optional<uint8_t> code = byte();
        const std::optional<uint8_t> count = byte();
        std::optional<KeyEntry> before = entry();
        if (!code || !count || !before)
            return std::nullopt;
        Loan loan{.before = *std::move(before), .ours = {}};
        for (int i = 0; i < *count; ++i) {
            std::optional<KeyEntry> ours = entry();
            if (!ours)
                return std::nullopt;
            loan.ours.push_back(*std::move(ours));
        }
        return std::pair(*code, std::move(loan));
    }

private:
    std::span<const uint8_t> m_rest;
};
} // namespace

void LoanRecord::recover()
{
    const XKeyboard::ServerGrab standstill(m_keyboard);
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
    // A key that is down may be another's, as long as there is one.
    if (!isInUse)
        m_keyboard.releaseOurs();
    for (const xcb_atom_t atom : left) {
        putBack(read(atom));
        xcb_delete_property(m_keyboard.connection(), m_keyboard.root(), atom);
    }
    m_keyboard.sync();
}

void LoanRecord::begin()
{
    const XKeyboard::ServerGrab standstill(m_keyboard);
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

void LoanRecord::write(const std::map<xcb_keycode_t, Loan> &keys)
{
    m_keys = keys;
    write();
}

void LoanRecord::write(uint8_t locked)
{
    m_locked = locked;
    write();
}

void LoanRecord::end()
{
    if (!m_slot)
        return;
    xcb_delete_property(m_keyboard.connection(), m_keyboard.root(), *m_slot);
    xcb_set_selection_owner(m_keyboard.connection(), XCB_WINDOW_NONE, *m_slot, XCB_CURRENT_TIME);
    m_slot.reset();
    m_keyboard.sync();
}

std::vector<uint8_t> LoanRecord::read(xcb_atom_t slot) const
{
    const auto reply = answered(
        xcb_get_property_reply(m_keyboard.connection(),
                               xcb_get_property(m_keyboard.connection(), 0, m_keyboard.root(), slot,
                                                XCB_ATOM_INTEGER, 0, mostWords),
                               nullptr));
    if (reply->format != 8)
        return {};
    const auto *const bytes = static_cast<const uint8_t *>(xcb_get_property_value(reply.get()));
    return {bytes, bytes + reply->value_len};
}

bool LoanRecord::isOwned(xcb_atom_t slot) const
{
    return answered(xcb_get_selection_owner_reply(
                        m_keyboard.connection(),
                        xcb_get_selection_owner(m_keyboard.connection(), slot), nullptr))
               ->owner != XCB_WINDOW_NONE;
}

void LoanRecord::putBack(const std::vector<uint8_t> &record)
{
    Reader reader(record);
    if (reader.byte() != format)
        return;
    const uint8_t locked = reader.byte().value_or(0);
    std::map<xcb_keycode_t, KeyEntry> changes;
    while (!reader.isAtEnd()) {
        const auto loan = reader.loan();
        if (!loan)
            break;
        const auto &[code, key] = *loan;
        if (code < xcb_get_setup(m_keyboard.connection())->min_keycode)
            continue;
        // Somebody else may have given it yet another meaning, which stays.
        const std::vector<KeyEntry> current = m_keyboard.entries(code, code);
        if (std::ranges::find(key.ours, current.front()) != key.ours.end())
            changes[code] = key.before;
    }
    m_keyboard.change(changes);
    if (locked != 0)
        m_keyboard.lock(locked, locked);
}

void LoanRecord::write() const
{
    if (!m_slot)
        return;
    std::vector<uint8_t> record{format, m_locked};
    for (const auto &[code, loan] : m_keys) {
        record.push_back(code);
        record.push_back(static_cast<uint8_t>(loan.ours.size()));
        append(record, loan.before);
        for (const KeyEntry &entry : loan.ours)
            append(record, entry);
    }
    xcb_change_property(m_keyboard.connection(), XCB_PROP_MODE_REPLACE, m_keyboard.root(), *m_slot,
                        XCB_ATOM_INTEGER, 8, static_cast<uint32_t>(record.size()), record.data());
}
