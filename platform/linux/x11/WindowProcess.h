#pragma once

#include <cstdint>
#include <optional>

#include <xcb/res.h>
#include <xcb/xcb.h>

/// Tells which process a window belongs to. What the server knows of its clients decides, as it
/// holds in containers too; what they say of themselves counts where it knows nothing. Borrows the
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

    /// Waits for the server; nothing where neither tells, or the window is gone.
    [[nodiscard]] std::optional<uint32_t> answer(const Asked &asked) const;

private:
    [[nodiscard]] std::optional<uint32_t> known(xcb_res_query_client_ids_cookie_t cookie) const;

    xcb_connection_t *m_connection;
    xcb_atom_t m_property;
    bool m_serverTells = false; ///< Whether the server knows its clients' processes.
};
