#pragma once

#include "platform/linux/x11/Xcb.h"

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <xcb/xinput.h>
#include <xcb/xtest.h>
// One of its fields has the name of a C++ keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

/// A failure as one sentence for the user.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void throwServerIsGone()
{
    throw Failure("The X server went away.");
}

/// Returns the reply; throws a Failure if there is none, which means that the server is gone.
template <typename T>
[[nodiscard]] XcbReply<T> answered(XcbReply<T> reply)
{
    if (!reply)
        throwServerIsGone();
    return reply;
}

template <typename T>
[[nodiscard]] XcbReply<T> answered(T *reply)
{
    return answered(XcbReply<T>(reply));
}

/// A key of one of the slave keyboards.
struct DeviceKey
{
    xcb_input_device_id_t device = 0;
    xcb_keycode_t code = 0;

    auto operator<=>(const DeviceKey &) const = default;
};

/// The wire format of a key's symbols: its types, groups, width and symbols.
using KeyEntry = std::vector<uint8_t>;

/// The answer of the application in front to a ping.
enum class PingAnswer {
    caughtUp, ///< It has processed its input.
    silent,   ///< It does not support pings.
    timedOut, ///< No answer within the timeout.
};

/// The X server's keyboard: its state, its map, and injecting keys. Every call may block on the
/// server without a timeout, and throws a Failure if the server is gone.
class XKeyboard
{
public:
    XKeyboard();
    ~XKeyboard();
    XKeyboard(const XKeyboard &) = delete;
    XKeyboard &operator=(const XKeyboard &) = delete;

    [[nodiscard]] xcb_connection_t *connection() const { return m_display.connection.get(); }
    [[nodiscard]] xcb_input_device_id_t device() const { return m_core; }
    [[nodiscard]] xcb_window_t root() const { return m_display.screen->root; }
    [[nodiscard]] xcb_atom_t atom(const std::string &name) const;

    /// Creates an invisible window; the server destroys it when this process has ended.
    [[nodiscard]] xcb_window_t makeWindow() const;

    /// While this exists, the server processes no requests of other clients, so that the state does
    /// not change. For short times only: all other programs are blocked.
    class ServerGrab
    {
    public:
        explicit ServerGrab(XKeyboard &keyboard) : m_connection(keyboard.connection())
        {
            xcb_grab_server(m_connection);
        }
        ~ServerGrab()
        {
            xcb_ungrab_server(m_connection);
            xcb_flush(m_connection);
        }
        ServerGrab(const ServerGrab &) = delete;
        ServerGrab &operator=(const ServerGrab &) = delete;

    private:
        xcb_connection_t *m_connection;
    };

    /// Presses or releases a key of the XTEST keyboard.
    void inject(xcb_keycode_t code, bool isDown);

    /// The same for a key of any keyboard, as if the user did it.
    void inject(const DeviceKey &key, bool isDown);

    /// Releases all pressed keys of the XTEST keyboard.
    void releaseOurs();

    /// Sends the pending requests.
    void flush() const;

    /// Sends the pending requests, waits until the server has processed them, and processes its
    /// events.
    void sync();

    /// Makes the map of the XTEST keyboard current: each keyboard has its own map, and the master
    /// uses that of the last active one.
    void activate();

    /// Whether the map may have changed since the last call.
    [[nodiscard]] bool mapHasChanged();

    /// How often others have released that key so far.
    [[nodiscard]] int releases(const DeviceKey &key) const;

    /// The pressed keys of each keyboard.
    [[nodiscard]] std::vector<DeviceKey> heldKeys();

    /// The keys of each of the eight modifiers.
    [[nodiscard]] std::vector<std::vector<xcb_keycode_t>> modifierKeys() const;

    /// The effective group and modifiers. Processes events like sync().
    [[nodiscard]] XcbReply<xcb_xkb_get_state_reply_t> state();

    /// Locks the given ones of the affected modifiers and unlocks the others.
    void lock(uint8_t affected, uint8_t locked) const;

    /// The entries of the keys in the range, inclusively, on the XTEST keyboard.
    [[nodiscard]] std::vector<KeyEntry> entries(xcb_keycode_t first, xcb_keycode_t last) const;

    /// Changes entries of the XTEST keyboard in one request and makes its map current. Other
    /// entries between the first and the last are kept.
    void change(const std::map<xcb_keycode_t, KeyEntry> &changes);

    /// Whether that process has the focus now. The server does not know processes with id 0.
    [[nodiscard]] bool reaches(uint32_t process) const;

    /// Waits until the application in front has processed its input so far.
    [[nodiscard]] PingAnswer waitForFront();

private:
    [[nodiscard]] uint8_t firstEventOf(xcb_extension_t &id, const char *message) const;
    void findDevices();
    void listen() const;
    void processEvents();
    void processEvents(const xcb_generic_event_t &event);

    XcbDisplay m_display;
    std::optional<WindowProcess> m_owners; ///< Set once the display is open.
    uint8_t m_inputEvents = 0;
    uint8_t m_inputOpcode = 0;
    uint8_t m_mapEvents = 0;
    xcb_input_device_id_t m_core = 0; ///< The master keyboard.
    xcb_input_device_id_t m_ours = 0; ///< The XTEST keyboard.
    std::vector<xcb_input_device_id_t> m_others;
    std::map<DeviceKey, int> m_releases; ///< Reported releases, without our own.
    bool m_mapHasChanged = true;
    xcb_atom_t m_activeWindow = XCB_ATOM_NONE;
    xcb_atom_t m_protocols = XCB_ATOM_NONE;
    xcb_atom_t m_ping = XCB_ATOM_NONE;
    uint32_t m_lastPing = 0;
    uint32_t m_lastPong = 0;
};
