#include "platform/linux/keyboard/Receiver.h"

Receiver::Receiver(XKeyboard &keyboard, uint32_t process)
    : m_keyboard(keyboard)
    , m_process(process)
    , m_owners(keyboard.connection(), keyboard.atom("_NET_WM_PID"))
{
}

bool Receiver::hasKeyboard() const
{
    xcb_connection_t *const connection = m_keyboard.connection();
    const auto focus =
        answered(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    // Everybody waits meanwhile, and whoever has the keyboard can nest windows without end.
    constexpr int maxGenerations = 64;
    int generation = 0;
    // The window inside of which the keys end up may be another process's, as a plug-in's is.
    for (xcb_window_t window = focus->focus;
         window > XCB_INPUT_FOCUS_POINTER_ROOT && generation < maxGenerations; ++generation) {
        if (m_owners.answer(m_owners.ask(window)).value_or(0) == m_process)
            return true;
        const XcbReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (!tree || tree->parent == tree->root)
            return false;
        window = tree->parent;
    }
    return false;
}
