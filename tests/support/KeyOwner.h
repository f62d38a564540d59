#pragma once

#include <QtGlobal>

#include <cstdlib>

#include <xcb/xcb.h>

/// Another program that owns Alt+Space, unless a third one does already.
class KeyOwner
{
public:
    KeyOwner() : m_connection(xcb_connect(nullptr, nullptr))
    {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        constexpr xcb_keycode_t spaceBar = 65;
        const auto cookie = xcb_grab_key_checked(m_connection, 0, root, XCB_MOD_MASK_1, spaceBar,
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        std::free(xcb_request_check(m_connection, cookie));
    }
    ~KeyOwner() { xcb_disconnect(m_connection); }
    KeyOwner(const KeyOwner &) = delete;
    KeyOwner &operator=(const KeyOwner &) = delete;

    /// Whether the next event that it has received is a press of a key.
    [[nodiscard]] bool takesPress()
    {
        xcb_generic_event_t *const event = xcb_poll_for_event(m_connection);
        const bool isPress = event && (event->response_type & 0x7f) == XCB_KEY_PRESS;
        std::free(event);
        return isPress;
    }

private:
    xcb_connection_t *m_connection;
};
