#include "platform/linux/keyboard/XKeyboard.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>

namespace {
// How long an application may take to process its input: less than the two seconds after which our
// own requester gives up.
constexpr std::chrono::milliseconds answerLimit{1500};

constexpr size_t entryHead = sizeof(xcb_xkb_key_sym_map_t);

size_t symbolCount(const uint8_t *entry)
{
    xcb_xkb_key_sym_map_t head;
    std::memcpy(&head, entry, entryHead);
    return head.nSyms;
}
} // namespace

XKeyboard::XKeyboard() : m_display(Xcb::open())
{
    if (!m_display.connection)
        throw Failure("There is no X server to type on.");
    (void)firstEventOf(xcb_test_id, "The X server cannot inject keys.");
    m_inputEvents = firstEventOf(xcb_input_id, "The X server knows no input devices.");
    m_inputOpcode = Xcb::extension(connection(), xcb_input_id)->major_opcode;
    m_mapEvents = firstEventOf(xcb_xkb_id, "The X server knows no keyboard layouts.");
    (void)answered(xcb_test_get_version_reply(connection(),
                                              xcb_test_get_version(connection(), 2, 2), nullptr));
    (void)answered(xcb_input_xi_query_version_reply(
        connection(), xcb_input_xi_query_version(connection(), 2, 2), nullptr));
    (void)answered(xcb_xkb_use_extension_reply(connection(),
                                               xcb_xkb_use_extension(connection(), 1, 0), nullptr));
    m_activeWindow = atom("_NET_ACTIVE_WINDOW");
    m_protocols = atom("WM_PROTOCOLS");
    m_ping = atom("_NET_WM_PING");
    m_owners.emplace(connection(), atom("_NET_WM_PID"));
    findDevices();
    listen();
}

XKeyboard::~XKeyboard() = default;

uint8_t XKeyboard::firstEventOf(xcb_extension_t &id, const char *message) const
{
    const xcb_query_extension_reply_t *const found = Xcb::extension(connection(), id);
    if (!found)
        throw Failure(message);
    return found->first_event;
}

xcb_atom_t XKeyboard::atom(const std::string &name) const
{
    const xcb_atom_t atom = Xcb::atom(connection(), name);
    if (atom == XCB_ATOM_NONE)
        throwServerIsGone();
    return atom;
}

void XKeyboard::findDevices()
{
    const auto desktop = answered(xcb_xkb_get_state_reply(
        connection(), xcb_xkb_get_state(connection(), XCB_XKB_ID_USE_CORE_KBD), nullptr));
    m_core = desktop->deviceID;
    const auto all = answered(xcb_input_xi_query_device_reply(
        connection(), xcb_input_xi_query_device(connection(), XCB_INPUT_DEVICE_ALL), nullptr));
    auto each = xcb_input_xi_query_device_infos_iterator(all.get());
    for (; each.rem > 0; xcb_input_xi_device_info_next(&each)) {
        if (each.data->type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD ||
            each.data->attachment != m_core)
            continue;
        const std::string_view name(xcb_input_xi_device_info_name(each.data), each.data->name_len);
        if (name.ends_with("XTEST keyboard"))
            m_ours = each.data->deviceid;
        else
            m_others.push_back(each.data->deviceid);
    }
    if (m_ours == 0)
        throw Failure("The X server has no keyboard for programs.");
}

void XKeyboard::listen() const
{
    struct
    {
        xcb_input_event_mask_t head{.deviceid = XCB_INPUT_DEVICE_ALL, .mask_len = 1};
        uint32_t mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    } const releases;
    xcb_input_xi_select_events(connection(), root(), 1, &releases.head);
    const uint16_t changes = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const uint16_t parts =
        XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(connection(), m_core, changes, 0, changes, parts, parts, nullptr);
    // Selects the events of the root window with which applications answer pings; Qt uses the
    // second kind.
    const uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection(), root(), XCB_CW_EVENT_MASK, &events);
}

void XKeyboard::inject(xcb_keycode_t code, bool isDown)
{
    xcb_test_fake_input(connection(), isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code,
                        XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    if (!isDown)
        --m_releases[{m_ours, code}];
}

void XKeyboard::inject(const DeviceKey &key, bool isDown)
{
    const int type =
        m_inputEvents + (isDown ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
    xcb_test_fake_input(connection(), static_cast<uint8_t>(type), key.code, XCB_CURRENT_TIME,
                        XCB_WINDOW_NONE, 0, 0, static_cast<uint8_t>(key.device));
    if (!isDown)
        --m_releases[key];
}

void XKeyboard::releaseOurs()
{
    for (const DeviceKey &key : heldKeys()) {
        if (key.device == m_ours)
            inject(key, false);
    }
}

xcb_window_t XKeyboard::makeWindow() const
{
    const xcb_window_t window = xcb_generate_id(connection());
    xcb_create_window(connection(), 0, window, root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    return window;
}

void XKeyboard::flush() const
{
    if (xcb_flush(connection()) <= 0)
        throw Failure("The X server went away.");
}

void XKeyboard::sync()
{
    (void)answered(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    processEvents();
}

void XKeyboard::processEvents()
{
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection())})
        processEvents(*event);
}

void XKeyboard::processEvents(const xcb_generic_event_t &event)
{
    const int type = event.response_type & 0x7f;
    if (type == XCB_GE_GENERIC) {
        const auto &key = reinterpret_cast<const xcb_input_raw_key_release_event_t &>(event);
        // The master keyboard repeats the events of its slaves.
        if (key.extension == m_inputOpcode && key.event_type == XCB_INPUT_RAW_KEY_RELEASE &&
            key.deviceid == key.sourceid)
            ++m_releases[{key.deviceid, static_cast<xcb_keycode_t>(key.detail)}];
    } else if (type == m_mapEvents) {
        m_mapHasChanged = true;
    } else if (type == XCB_CLIENT_MESSAGE) {
        const auto &message = reinterpret_cast<const xcb_client_message_event_t &>(event);
        if (message.type == m_protocols && message.data.data32[0] == m_ping)
            m_lastPong = message.data.data32[1];
    }
}

void XKeyboard::activate()
{
    // The lowest key code has no key, so releasing it has no effect.
    inject(xcb_get_setup(connection())->min_keycode, false);
    sync();
}

bool XKeyboard::mapHasChanged()
{
    return std::exchange(m_mapHasChanged, false);
}

int XKeyboard::releases(const DeviceKey &key) const
{
    const auto found = m_releases.find(key);
    return found == m_releases.end() ? 0 : found->second;
}

std::vector<DeviceKey> XKeyboard::heldKeys()
{
    std::vector<xcb_input_device_id_t> devices = m_others;
    devices.push_back(m_ours);
    std::vector<xcb_input_query_device_state_cookie_t> asked;
    asked.reserve(devices.size());
    for (const xcb_input_device_id_t device : devices)
        asked.push_back(xcb_input_query_device_state(connection(), static_cast<uint8_t>(device)));
    std::vector<DeviceKey> held;
    for (size_t i = 0; i < devices.size(); ++i) {
        // The keyboard may have been unplugged.
        const XcbReply<xcb_input_query_device_state_reply_t> reply(
            xcb_input_query_device_state_reply(connection(), asked[i], nullptr));
        if (!reply)
            continue;
        auto each = xcb_input_query_device_state_classes_iterator(reply.get());
        for (; each.rem > 0; xcb_input_input_state_next(&each)) {
            if (each.data->class_id != XCB_INPUT_INPUT_CLASS_KEY)
                continue;
            xcb_input_key_state_t keys;
            std::memcpy(&keys, each.data, sizeof keys);
            for (unsigned code = 0; code < 256; ++code) {
                if (keys.keys[code / 8] >> (code % 8) & 1)
                    held.push_back({devices[i], static_cast<xcb_keycode_t>(code)});
            }
        }
    }
    return held;
}

std::vector<std::vector<xcb_keycode_t>> XKeyboard::modifierKeys() const
{
    const auto reply = answered(xcb_get_modifier_mapping_reply(
        connection(), xcb_get_modifier_mapping(connection()), nullptr));
    const xcb_keycode_t *const codes = xcb_get_modifier_mapping_keycodes(reply.get());
    std::vector<std::vector<xcb_keycode_t>> keys(8);
    for (size_t modifier = 0; modifier < keys.size(); ++modifier) {
        for (size_t i = 0; i < reply->keycodes_per_modifier; ++i) {
            if (const xcb_keycode_t code = codes[modifier * reply->keycodes_per_modifier + i])
                keys[modifier].push_back(code);
        }
    }
    return keys;
}

XcbReply<xcb_xkb_get_state_reply_t> XKeyboard::state()
{
    auto reply = answered(
        xcb_xkb_get_state_reply(connection(), xcb_xkb_get_state(connection(), m_core), nullptr));
    processEvents();
    return reply;
}

void XKeyboard::lock(uint8_t affected, uint8_t locked) const
{
    // Latches are for the user's next key, not for ours.
    xcb_xkb_latch_lock_state(connection(), m_core, affected, locked, 0, 0, 0xff, 0, 0);
}

std::vector<KeyEntry> XKeyboard::entries(xcb_keycode_t first, xcb_keycode_t last) const
{
    const auto count = static_cast<uint8_t>(last - first + 1);
    const auto reply = answered(
        xcb_xkb_get_map_reply(connection(),
                              xcb_xkb_get_map(connection(), m_ours, 0, XCB_XKB_MAP_PART_KEY_SYMS, 0,
                                              0, first, count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
                              nullptr));
    // Only these entries were requested, so the reply has no others.
    const auto *bytes = static_cast<const uint8_t *>(xcb_xkb_get_map_map(reply.get()));
    std::vector<KeyEntry> all;
    for (int i = 0; i < count; ++i) {
        const size_t size = entryHead + symbolCount(bytes) * sizeof(uint32_t);
        all.emplace_back(bytes, bytes + size);
        bytes += size;
    }
    return all;
}

void XKeyboard::change(const std::map<xcb_keycode_t, KeyEntry> &changes)
{
    if (changes.empty())
        return;
    const xcb_keycode_t first = changes.begin()->first;
    const xcb_keycode_t last = changes.rbegin()->first;
    std::vector<uint8_t> all;
    size_t symbols = 0;
    xcb_keycode_t code = first;
    for (const KeyEntry &current : entries(first, last)) {
        const auto changed = changes.find(code++);
        const KeyEntry &entry = changed == changes.end() ? current : changed->second;
        symbols += symbolCount(entry.data());
        all.insert(all.end(), entry.begin(), entry.end());
    }
    // Changing the master's map would also change those of the hardware keyboards, which may
    // differ. The master takes over our map once another keyboard has been used and then ours
    // again.
    const xcb_setup_t *const setup = xcb_get_setup(connection());
    xcb_xkb_set_map(connection(), m_others.empty() ? m_core : m_ours, XCB_XKB_MAP_PART_KEY_SYMS, 0,
                    setup->min_keycode, setup->max_keycode, 0, 0, first,
                    static_cast<uint8_t>(last - first + 1), static_cast<uint16_t>(symbols), 0, 0, 0,
                    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, all.data());
    if (!m_others.empty())
        inject(DeviceKey{m_others.front(), setup->min_keycode}, false);
    activate();
}

bool XKeyboard::reaches(uint32_t process) const
{
    const auto focus = answered(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    // All clients wait meanwhile, and the focused application could nest windows without end.
    constexpr int maxGenerations = 64;
    int generation = 0;
    // The focused window may belong to another process than its parents, such as a plug-in.
    for (xcb_window_t window = focus->focus;
         window > XCB_INPUT_FOCUS_POINTER_ROOT && generation < maxGenerations; ++generation) {
        if (m_owners->answer(m_owners->ask(window)).value_or(0) == process)
            return true;
        const XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(connection(), xcb_query_tree(connection(), window), nullptr));
        if (!tree || tree->parent == tree->root)
            return false;
        window = tree->parent;
    }
    return false;
}

PingAnswer XKeyboard::waitForFront()
{
    const auto active = answered(Xcb::property(connection(), root(), m_activeWindow, 1));
    const std::span<const uint32_t> windows = Xcb::numbers(active.get(), XCB_ATOM_WINDOW);
    if (windows.empty() || windows.front() == XCB_WINDOW_NONE)
        return PingAnswer::silent;
    const xcb_window_t window = windows.front();
    const auto protocols = Xcb::property(connection(), window, m_protocols, 64, XCB_ATOM_ATOM);
    if (!protocols)
        return PingAnswer::silent; // the window was just destroyed
    const std::span<const uint32_t> known = Xcb::numbers(protocols.get(), XCB_ATOM_ATOM);
    if (std::ranges::find(known, m_ping) == known.end())
        return PingAnswer::silent;

    // Applications process it after the keys that were sent before.
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = m_protocols;
    message.data.data32[0] = m_ping;
    message.data.data32[1] = ++m_lastPing;
    message.data.data32[2] = window;
    xcb_send_event(connection(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&message));
    sync();
    const auto limit = std::chrono::steady_clock::now() + answerLimit;
    while (m_lastPong != m_lastPing) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(limit - std::chrono::steady_clock::now());
        pollfd source{xcb_get_file_descriptor(connection()), POLLIN, 0};
        if (left.count() <= 0)
            return PingAnswer::timedOut;
        if (poll(&source, 1, static_cast<int>(left.count())) > 0)
            sync();
    }
    return PingAnswer::caughtUp;
}
