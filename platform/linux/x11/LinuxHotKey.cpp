#include "platform/linux/x11/LinuxHotKey.h"

#include "platform/linux/desktop/DesktopKeys.h"

#include <QList>
#include <QMetaObject>

#include <algorithm>
#include <array>
#include <span>
#include <vector>

// The C header has a member with that name.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-keysyms.h>

using namespace Qt::StringLiterals;

namespace {
constexpr std::array<xcb_keysym_t, 2> altKeys{XKB_KEY_Alt_L, XKB_KEY_Alt_R};
constexpr std::array<xcb_keysym_t, 2> lockKeys{XKB_KEY_Num_Lock, XKB_KEY_Scroll_Lock};

constexpr size_t modifiers = 8;

// Longer than the interval between repetitions of a held key.
constexpr quint32 longestRepeatGap = 3000;

class KeyboardMapping
{
public:
    explicit KeyboardMapping(xcb_connection_t *connection)
        : m_first(xcb_get_setup(connection)->min_keycode)
    {
        const auto last = xcb_get_setup(connection)->max_keycode;
        const auto mappingCookie =
            xcb_get_keyboard_mapping(connection, m_first, static_cast<uint8_t>(last - m_first + 1));
        const auto modifierCookie = xcb_get_modifier_mapping(connection);
        m_mapping.reset(xcb_get_keyboard_mapping_reply(connection, mappingCookie, nullptr));
        m_modifiers.reset(xcb_get_modifier_mapping_reply(connection, modifierCookie, nullptr));
    }

    [[nodiscard]] bool isKnown() const
    {
        return m_mapping && m_modifiers && m_mapping->keysyms_per_keycode > 0;
    }

    // The keys with this first symbol.
    [[nodiscard]] QList<quint8> keysFor(xcb_keysym_t symbol) const
    {
        QList<quint8> keys;
        for (int code = m_first; code <= 0xff; ++code) {
            const std::span<const xcb_keysym_t> symbols = symbolsOf(code);
            if (!symbols.empty() && symbols.front() == symbol)
                keys.append(static_cast<quint8>(code));
        }
        return keys;
    }

    // The modifiers of the keys with these symbols.
    [[nodiscard]] QList<quint16> modifiersOf(std::span<const xcb_keysym_t> wanted) const
    {
        QList<quint16> masks;
        const size_t width = m_modifiers->keycodes_per_modifier;
        const std::span all(xcb_get_modifier_mapping_keycodes(m_modifiers.get()),
                            modifiers * width);
        for (size_t modifier = 0; modifier < modifiers; ++modifier) {
            const auto keys = all.subspan(modifier * width, width);
            const bool isSet = std::ranges::any_of(keys, [&](xcb_keycode_t code) {
                const std::span<const xcb_keysym_t> symbols = symbolsOf(code);
                return std::ranges::find_first_of(symbols, wanted) != symbols.end();
            });
            if (isSet)
                masks.append(static_cast<quint16>(1U << modifier));
        }
        return masks;
    }

private:
    [[nodiscard]] std::span<const xcb_keysym_t> symbolsOf(int code) const
    {
        const int width = m_mapping->keysyms_per_keycode;
        const int index = (code - m_first) * width;
        if (index < 0 || index + width > xcb_get_keyboard_mapping_keysyms_length(m_mapping.get()))
            return {};
        return {xcb_get_keyboard_mapping_keysyms(m_mapping.get()) + index,
                static_cast<size_t>(width)};
    }

    xcb_keycode_t m_first;
    XcbReply<xcb_get_keyboard_mapping_reply_t> m_mapping;
    XcbReply<xcb_get_modifier_mapping_reply_t> m_modifiers;
};
} // namespace

void LinuxHotKey::registerKey(std::function<void()> pressed)
{
    m_pressed = std::move(pressed);
    m_events = X11Events::open([this](const xcb_generic_event_t &event) { handle(event); });
    if (!m_events)
        return;
    listenToKeyboard();
    grab();
}

QString LinuxHotKey::name() const
{
    return u"Alt+Space"_s;
}

QString LinuxHotKey::alternative()
{
    return DesktopKeys::canBind() ? DesktopKeys::name() : QString();
}

bool LinuxHotKey::isAlternativeBound()
{
    return DesktopKeys::isBound();
}

void LinuxHotKey::bindAlternative()
{
    DesktopKeys::bind();
}

QString LinuxHotKey::command()
{
    return DesktopKeys::toggleCommand();
}

void LinuxHotKey::listenToKeyboard()
{
    xcb_connection_t *const connection = m_events->connection();
    const xcb_query_extension_reply_t *const extension = Xcb::extension(connection, xcb_xkb_id);
    if (!extension)
        return;
    m_keyboardEvent = extension->first_event;
    const XcbReply<xcb_xkb_use_extension_reply_t> version(
        xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
    // Detectable auto-repeat: a held key repeats presses without releases, which tells repetitions
    // from presses.
    const XcbReply<xcb_xkb_per_client_flags_reply_t> flags(xcb_xkb_per_client_flags_reply(
        connection,
        xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD,
                                 XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
                                 XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0),
        nullptr));
    constexpr uint16_t changes =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, parts, parts,
                          nullptr);
}

void LinuxHotKey::handle(const xcb_generic_event_t &event)
{
    const int type = event.response_type & 0x7f;
    if (type == XCB_KEY_PRESS) {
        const auto &press = reinterpret_cast<const xcb_key_press_event_t &>(event);
        handlePress(press.detail, press.time);
    } else if (type == XCB_KEY_RELEASE) {
        // The grab lasts until this release; other keys are reported meanwhile, such as Alt's
        // release.
        if (reinterpret_cast<const xcb_key_release_event_t &>(event).detail == m_heldKey)
            m_heldKey = 0;
    } else if (type == XCB_MAPPING_NOTIFY || type == m_keyboardEvent) {
        // One change of the layout sends several events.
        if (!std::exchange(m_layoutHasChanged, true))
            QMetaObject::invokeMethod(this, &LinuxHotKey::grab, Qt::QueuedConnection);
    }
}

void LinuxHotKey::handlePress(quint8 key, quint32 time)
{
    if (std::ranges::none_of(m_grabbed, [key](const auto &one) { return one.first == key; }))
        return;
    const bool isRepeat = m_heldKey == key && time - m_lastRepeat < longestRepeatGap;
    m_heldKey = key;
    m_lastRepeat = time;
    if (isRepeat)
        return;
    m_lastPress = time;
    QMetaObject::invokeMethod(this, m_pressed, Qt::QueuedConnection);
}

void LinuxHotKey::grab()
{
    m_layoutHasChanged = false;
    const std::set<Combination> wanted = combinations();
    if (wanted == m_grabbed)
        return;
    xcb_connection_t *const connection = m_events->connection();
    const xcb_window_t root = m_events->root();
    std::vector<xcb_void_cookie_t> asked;
    asked.reserve(m_grabbed.size() + wanted.size());
    for (const auto &[key, mask] : m_grabbed)
        asked.push_back(xcb_ungrab_key_checked(connection, key, root, mask));
    for (const auto &[key, mask] : wanted) {
        asked.push_back(xcb_grab_key_checked(connection, 0, root, mask, key, XCB_GRAB_MODE_ASYNC,
                                             XCB_GRAB_MODE_ASYNC));
    }
    // Another program may own some of the combinations.
    m_isOurs = !wanted.empty();
    for (const xcb_void_cookie_t cookie : asked) {
        if (const XcbReply<xcb_generic_error_t> refusal{xcb_request_check(connection, cookie)})
            m_isOurs = false;
    }
    m_grabbed = wanted;
    m_events->flush();
}

std::set<LinuxHotKey::Combination> LinuxHotKey::combinations() const
{
    const KeyboardMapping keyboard(m_events->connection());
    m_events->flush();
    if (!keyboard.isKnown())
        return m_grabbed;
    QList<quint16> locks = keyboard.modifiersOf(lockKeys);
    if (!locks.contains(XCB_MOD_MASK_LOCK))
        locks.append(XCB_MOD_MASK_LOCK);
    QList<quint16> lockStates{0};
    for (const quint16 lock : std::as_const(locks)) {
        const QList<quint16> without = lockStates;
        for (const quint16 state : without)
            lockStates.append(static_cast<quint16>(state | lock));
    }

    std::set<Combination> result;
    const QList<quint8> keys = keyboard.keysFor(XKB_KEY_space);
    for (const quint16 alt : keyboard.modifiersOf(altKeys)) {
        for (const quint8 key : keys) {
            for (const quint16 state : std::as_const(lockStates))
                result.emplace(key, static_cast<quint16>(alt | state));
        }
    }
    return result;
}
