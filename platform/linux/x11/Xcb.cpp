#include "platform/linux/x11/Xcb.h"

XcbDisplay Xcb::open()
{
    XcbDisplay display;
    display.connection.reset(xcb_connect(nullptr, &display.number));
    if (!isAlive(display.connection)) {
        display.connection.reset();
        return display;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(display.connection.get()));
    for (int i = 0; i < display.number && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    display.screen = screens.data;
    return display;
}

const xcb_query_extension_reply_t *Xcb::extension(xcb_connection_t *connection, xcb_extension_t &id)
{
    const xcb_query_extension_reply_t *const found = xcb_get_extension_data(connection, &id);
    return found && found->present ? found : nullptr;
}

xcb_atom_t Xcb::atom(xcb_connection_t *connection, const std::string &name)
{
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data());
    const XcbReply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

XcbReply<xcb_get_property_reply_t> Xcb::property(xcb_connection_t *connection, xcb_window_t window,
                                                 xcb_atom_t name, uint32_t length, xcb_atom_t type)
{
    const auto cookie = xcb_get_property(connection, 0, window, name, type, 0, length);
    return XcbReply<xcb_get_property_reply_t>(xcb_get_property_reply(connection, cookie, nullptr));
}

std::span<const uint32_t> Xcb::numbers(const xcb_get_property_reply_t *reply, xcb_atom_t type)
{
    if (!reply || reply->format != 32 || reply->type != type)
        return {};
    return {static_cast<const uint32_t *>(xcb_get_property_value(reply)), reply->value_len};
}

std::span<const uint8_t> Xcb::bytes(const xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const uint8_t *>(xcb_get_property_value(reply)), reply->value_len};
}

WindowProcess::WindowProcess(xcb_connection_t *connection, xcb_atom_t property)
    : m_connection(connection), m_property(property)
{
    if (!Xcb::extension(m_connection, xcb_res_id))
        return;
    const XcbReply<xcb_res_query_version_reply_t> version(xcb_res_query_version_reply(
        m_connection, xcb_res_query_version(m_connection, 1, 2), nullptr));
    m_serverTells = version && (version->server_major > 1 ||
                                (version->server_major == 1 && version->server_minor >= 2));
}

WindowProcess::Asked WindowProcess::ask(xcb_window_t window) const
{
    const xcb_res_client_id_spec_t client{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return {.said = xcb_get_property(m_connection, 0, window, m_property, XCB_ATOM_CARDINAL, 0, 1),
            .known = m_serverTells ? xcb_res_query_client_ids(m_connection, 1, &client)
                                   : xcb_res_query_client_ids_cookie_t{}};
}

std::optional<uint32_t> WindowProcess::answer(const Asked &asked) const
{
    const XcbReply<xcb_get_property_reply_t> said(
        xcb_get_property_reply(m_connection, asked.said, nullptr));
    const std::optional<uint32_t> process = known(asked.known);
    // Without a reply the window was destroyed. The server answers by the range of ids, which may
    // belong to another client by now.
    if (!said)
        return std::nullopt;
    if (process)
        return process;
    const std::span<const uint32_t> own = Xcb::numbers(said.get(), XCB_ATOM_CARDINAL);
    return own.empty() ? std::nullopt : std::optional(own.front());
}

std::optional<uint32_t> WindowProcess::known(xcb_res_query_client_ids_cookie_t cookie) const
{
    if (!m_serverTells)
        return std::nullopt;
    const XcbReply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(m_connection, cookie, nullptr));
    if (!reply)
        return std::nullopt;
    auto each = xcb_res_query_client_ids_ids_iterator(reply.get());
    for (; each.rem > 0; xcb_res_client_id_value_next(&each)) {
        if ((each.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) != 0 &&
            xcb_res_client_id_value_value_length(each.data) > 0)
            return *xcb_res_client_id_value_value(each.data);
    }
    return std::nullopt;
}
