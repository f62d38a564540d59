#include "platform/linux/keyboard/Receiver.h"

#include <xcb/res.h>

Receiver::Receiver(XKeyboard &keyboard, uint32_t process)
    : m_keyboard(keyboard), m_process(process), m_processName(keyboard.atom("_NET_WM_PID"))
{
    xcb_connection_t *const connection = m_keyboard.connection();
    const auto *const extension = xcb_get_extension_data(connection, &xcb_res_id);
    if (!extension || !extension->present)
        return;
    const auto version = answered(
        xcb_res_query_version_reply(connection, xcb_res_query_version(connection, 1, 2), nullptr));
    m_serverTells = version->server_major > 1 || version->server_minor >= 2;
}

bool Receiver::hasKeyboard() const
{
    xcb_connection_t *const connection = m_keyboard.connection();
    const auto focus =
        answered(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    // The window inside of which the keys end up may be another process's, as a plug-in's is.
    for (xcb_window_t window = focus->focus; window > XCB_INPUT_FOCUS_POINTER_ROOT;) {
        if (ownerOf(window) == m_process)
            return true;
        const XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (!tree || tree->parent == tree->root)
            return false;
        window = tree->parent;
    }
    return false;
}

// What the server knows of its clients holds in containers too, unlike what they say.
uint32_t Receiver::ownerOf(xcb_window_t window) const
{
    xcb_connection_t *const connection = m_keyboard.connection();
    if (m_serverTells) {
        const xcb_res_client_id_spec_t asked{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        const XcbReply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
            connection, xcb_res_query_client_ids(connection, 1, &asked), nullptr));
        if (reply) {
            auto each = xcb_res_query_client_ids_ids_iterator(reply.get());
            for (; each.rem > 0; xcb_res_client_id_value_next(&each)) {
                if ((each.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) != 0 &&
                    xcb_res_client_id_value_value_length(each.data) > 0)
                    return *xcb_res_client_id_value_value(each.data);
            }
        }
    }
    const XcbReply<xcb_get_property_reply_t> said(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, m_processName, XCB_ATOM_CARDINAL, 0, 1),
        nullptr));
    if (!said || said->format != 32 || said->value_len != 1)
        return 0;
    return *static_cast<const uint32_t *>(xcb_get_property_value(said.get()));
}
