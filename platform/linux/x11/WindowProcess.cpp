#include "platform/linux/x11/WindowProcess.h"

#include "platform/linux/x11/XcbReply.h"

WindowProcess::WindowProcess(xcb_connection_t *connection, xcb_atom_t property)
    : m_connection(connection), m_property(property)
{
    const xcb_query_extension_reply_t *const extension =
        xcb_get_extension_data(m_connection, &xcb_res_id);
    if (!extension || !extension->present)
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
    if (const std::optional<uint32_t> process = known(asked.known))
        return process;
    if (!said || said->format != 32 || said->type != XCB_ATOM_CARDINAL || said->value_len != 1)
        return std::nullopt;
    return *static_cast<const uint32_t *>(xcb_get_property_value(said.get()));
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
