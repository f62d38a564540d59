#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>

#include <xcb/res.h>
#include <xcb/xcb.h>

/// What everything that speaks to the X server has in common. Needs the standard library only,
/// since the keyboard program has nothing else.

struct XcbFree
{
    void operator()(void *memory) const { std::free(memory); }
};
/// Owns what xcb returned: a reply, an error or an event.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

struct XcbDisconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

/// A connection to the X server that the environment names, and its screen that programs are to
/// use.
struct XcbDisplay
{
    XcbConnection connection; ///< Null without a server.
    int number = 0;           ///< The screen's.
    const xcb_screen_t *screen = nullptr;
};

namespace Xcb {
/// Connects to the display. Waits for the server without bound.
[[nodiscard]] XcbDisplay open();

[[nodiscard]] inline bool isAlive(const XcbConnection &connection)
{
    return connection && xcb_connection_has_error(connection.get()) == 0;
}

/// What the server says about one of its extensions; null if it does not have it.
[[nodiscard]] const xcb_query_extension_reply_t *extension(xcb_connection_t *connection,
                                                           xcb_extension_t &id);

/// The value of a property of that type; empty for a window that is gone or has another one.
[[nodiscard]] std::span<const uint32_t> numbers(const xcb_get_property_reply_t *reply,
                                                xcb_atom_t type);

/// The bytes of a property of any type; empty as above.
[[nodiscard]] std::span<const uint8_t> bytes(const xcb_get_property_reply_t *reply);
} // namespace Xcb

/// Tells which process a window belongs to. What the server knows of its clients decides, as it
/// holds in containers too; what they say of themselves counts if it knows nothing. Borrows the
/// connection; one thread at a time.
class WindowProcess
{
public:
    /// A question that is on its way; each has to be answered.
    struct Asked
    {
        xcb_get_property_cookie_t said;
        xcb_res_query_client_ids_cookie_t known;
    };

    /// `property` is the atom of _NET_WM_PID. Waits for the server once.
    WindowProcess(xcb_connection_t *connection, xcb_atom_t property);

    [[nodiscard]] Asked ask(xcb_window_t window) const;

    /// Waits for the server; nothing if neither tells, or the window is gone.
    [[nodiscard]] std::optional<uint32_t> answer(const Asked &asked) const;

private:
    [[nodiscard]] std::optional<uint32_t> known(xcb_res_query_client_ids_cookie_t cookie) const;

    xcb_connection_t *m_connection;
    xcb_atom_t m_property;
    bool m_serverTells = false; ///< Whether the server knows its clients' processes.
};
