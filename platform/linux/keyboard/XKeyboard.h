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
// One of its fields bears the name of a keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

/// What went wrong, as one user-facing sentence.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Passes an answer on; a Failure where there is none, since every question that we ask has one as
/// long as there is a server.
template <typename T>
[[nodiscard]] XcbReply<T> answered(T *reply)
{
    if (!reply)
        throw Failure("The X server went away.");
    return XcbReply<T>(reply);
}

/// A key of one of the keyboards that feed the desktop's one.
struct DeviceKey
{
    xcb_input_device_id_t device = 0;
    xcb_keycode_t code = 0;

    auto operator<=>(const DeviceKey &) const = default;
};

/// What the symbols of one key look like on the wire: its types, groups and width, and the symbols.
using KeyEntry = std::vector<uint8_t>;

/// What the application in front says when it is asked whether it has caught up with its input.
enum class Front {
    caughtUp, ///< It has.
    silent,   ///< It does not take part in this.
    timedOut, ///< Nothing, for longer than anybody wants to wait.
};

/// The X server's keyboard: who presses what, what the keys mean, and pressing them. Every call may
/// wait for the server without bound, and throws a Failure where it is gone.
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

    /// A window that no one sees; the server takes it away when this process has ended.
    [[nodiscard]] xcb_window_t makeWindow() const;

    /// As long as this lives, the server does nothing for anybody else, so that what is seen stays
    /// so. For moments only: nobody's windows move meanwhile.
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

    /// Presses or releases a key of the keyboard that belongs to no hardware.
    void inject(xcb_keycode_t code, bool isDown);

    /// The same for a key of any of the keyboards, as if its owner's finger did it.
    void inject(const DeviceKey &key, bool isDown);

    /// Releases all keys that are down on the keyboard that belongs to no hardware.
    void releaseOurs();

    /// Sends what has been asked for.
    void flush() const;

    /// Sends what has been asked for, waits until the server has done it, and hears what else has
    /// happened there.
    void sync();

    /// Makes the keyboard without hardware the one whose map counts: each has its own, and the
    /// desktop's is that of the keyboard that was used last.
    void activate();

    /// Whether we have heard since the last call that the keys may mean something else.
    [[nodiscard]] bool mapHasChanged();

    /// How often others have released that key since we began.
    [[nodiscard]] int releases(const DeviceKey &key) const;

    /// The keys that are held down, keyboard by keyboard.
    [[nodiscard]] std::vector<DeviceKey> heldKeys();

    /// The keys of each of the eight modifiers.
    [[nodiscard]] std::vector<std::vector<xcb_keycode_t>> modifierKeys() const;

    /// The group and the modifiers in effect. Hears what else has happened, as sync does.
    [[nodiscard]] XcbReply<xcb_xkb_get_state_reply_t> state();

    /// Locks those of the affected modifiers that are to be locked, and unlocks the others.
    void lock(uint8_t affected, uint8_t locked) const;

    /// What the keys from one code to another, both included, mean on the keyboard without
    /// hardware.
    [[nodiscard]] std::vector<KeyEntry> entries(xcb_keycode_t first, xcb_keycode_t last) const;

    /// Changes entries there, in one request, and becomes that keyboard. Entries between the first
    /// and the last stay as they are.
    void change(const std::map<xcb_keycode_t, KeyEntry> &changes);

    /// Whether keys go to that process now. The server does not know the process with number 0.
    [[nodiscard]] bool reaches(uint32_t process) const;

    /// Waits until the application in front has seen all that was sent to it so far.
    [[nodiscard]] Front waitForFront();

private:
    [[nodiscard]] uint8_t firstEventOf(xcb_extension_t &id, const char *complaint) const;
    void findDevices();
    void listen() const;
    void processEvents();
    void processEvents(const xcb_generic_event_t &event);

    XcbDisplay m_display;
    std::optional<WindowProcess> m_owners; ///< Present once the display is open.
    uint8_t m_inputEvents = 0;
    uint8_t m_inputOpcode = 0;
    uint8_t m_mapEvents = 0;
    xcb_input_device_id_t m_core = 0; ///< The desktop's keyboard.
    xcb_input_device_id_t m_ours = 0; ///< The one without hardware.
    std::vector<xcb_input_device_id_t> m_others;
    std::map<DeviceKey, int> m_releases; ///< Those that we have heard of, less our own.
    bool m_mapHasChanged = true;
    xcb_atom_t m_activeWindow = XCB_ATOM_NONE;
    xcb_atom_t m_protocols = XCB_ATOM_NONE;
    xcb_atom_t m_ping = XCB_ATOM_NONE;
    uint32_t m_lastPing = 0;
    uint32_t m_lastPong = 0;
};
