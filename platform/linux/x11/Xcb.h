#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <xcb/res.h>
#include <xcb/xcb.h>

/// Shared by all code that uses the X server. Needs only the standard library, because the keyboard
/// program is not linked with Qt.

struct XcbFree
{
    void operator()(void *memory) const { std::free(memory); }
};
/// Owns a reply, an error or an event of xcb.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

struct XcbDisconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

/// A connection to the X server of the environment, and its default screen.
struct XcbDisplay
{
    XcbConnection connection; ///< Null without a server.
    int number = 0;           ///< The screen's number.
    const xcb_screen_t *screen = nullptr;
};

namespace Xcb {
/// Connects to the display. May block on the server without a timeout.
[[nodiscard]] XcbDisplay open();

[[nodiscard]] inline bool isAlive(const XcbConnection &connection)
{
    return connection && xcb_connection_has_error(connection.get()) == 0;
}

/// The server's data on an extension; null if it does not have it.
[[nodiscard]] const xcb_query_extension_reply_t *extension(xcb_connection_t *connection,
                                                           xcb_extension_t &id);

/// The atom of that name; XCB_ATOM_NONE if the server is gone. Waits for the server.
[[nodiscard]] xcb_atom_t atom(xcb_connection_t *connection, const std::string &name);

/// A property of a window, at most so many units of four bytes of it; null if the window was
/// destroyed or the server is gone. Waits for the server.
[[nodiscard]] XcbReply<xcb_get_property_reply_t>
property(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t name, uint32_t length,
         xcb_atom_t type = XCB_GET_PROPERTY_TYPE_ANY);

/// The value of a property of that type; empty if the window was destroyed or the property has
/// another type.
[[nodiscard]] std::span<const uint32_t> numbers(const xcb_get_property_reply_t *reply,
                                                xcb_atom_t type);

/// The bytes of a property of any type; empty if there is none.
[[nodiscard]] std::span<const uint8_t> bytes(const xcb_get_property_reply_t *reply);
} // namespace Xcb

/// Finds the process of a window. Prefers the server's knowledge of its clients, which also works
/// with containers, to their own property. The connection must outlive it; not thread-safe.
class WindowProcess
{
public:
    /// A pending request; answer() must be called for each.
    struct Asked
    {
        xcb_get_property_cookie_t said;
        xcb_res_query_client_ids_cookie_t known;
    };

    /// `property` is the atom of _NET_WM_PID. Makes one round trip.
    WindowProcess(xcb_connection_t *connection, xcb_atom_t property);

    [[nodiscard]] Asked ask(xcb_window_t window) const;

    /// Waits for the server; nothing if both are unknown or the window was destroyed.
    [[nodiscard]] std::optional<uint32_t> answer(const Asked &asked) const;

private:
    [[nodiscard]] std::optional<uint32_t> known(xcb_res_query_client_ids_cookie_t cookie) const;

    xcb_connection_t *m_connection;
    xcb_atom_t m_property;
    bool m_serverTells = false; ///< Whether the server knows the processes of its clients.
};
