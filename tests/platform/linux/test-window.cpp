// A window for the tests. The arguments are its title, its class ("instance.Class"), and its
// properties. Prints one line when the window manager manages it; executes commands from lines of
// its standard input, unless it is "unattended"; exits when its window is closed, unless it is
// "stubborn".

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <xcb/xcb_icccm.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
xcb_connection_t *connection = nullptr;
xcb_ewmh_connection_t ewmh;
xcb_window_t window = XCB_WINDOW_NONE;

xcb_atom_t atom(const char *name)
{
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    auto *const reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t result = reply->atom;
    std::free(reply);
    return result;
}

void set(xcb_atom_t property, xcb_atom_t type, uint8_t format, const void *data, size_t count)
{
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, format,
                        static_cast<uint32_t>(count), data);
}

void special(const std::string &what)
{
    xcb_atom_t type = XCB_ATOM_NONE;
    if (what == "dock")
        type = ewmh._NET_WM_WINDOW_TYPE_DOCK;
    else if (what == "utility")
        type = ewmh._NET_WM_WINDOW_TYPE_UTILITY;
    else if (what == "dialog")
        type = ewmh._NET_WM_WINDOW_TYPE_DIALOG;
    else if (what == "desktop")
        type = ewmh._NET_WM_WINDOW_TYPE_DESKTOP;
    if (type != XCB_ATOM_NONE)
        set(ewmh._NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 32, &type, 1);
    if (what == "untitled")
        xcb_delete_property(connection, window, ewmh._NET_WM_NAME);
    if (what == "latin1") {
        xcb_delete_property(connection, window, ewmh._NET_WM_NAME);
        set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, "caf\xe9", 4);
    }
    if (what == "numbers") {
        const std::array<uint32_t, 2> numbers{1, 2};
        set(ewmh._NET_WM_NAME, XCB_ATOM_CARDINAL, 32, numbers.data(), numbers.size());
    }
    if (what == "classless")
        xcb_delete_property(connection, window, XCB_ATOM_WM_CLASS);
    if (what == "sticky")
        xcb_ewmh_set_wm_desktop(&ewmh, window, 0xffffffff);
    if (what == "elsewhere")
        xcb_ewmh_set_wm_desktop(&ewmh, window, 1);
    if (what == "liar") {
        const uint32_t process = 1;
        set(ewmh._NET_WM_PID, XCB_ATOM_CARDINAL, 32, &process, 1);
    }
}

void iconify()
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_CHANGE_STATE");
    message.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
    xcb_send_event(connection, 0, ewmh.screens[0]->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&message));
    xcb_flush(connection);
}
} // namespace

int main(int count, char **arguments)
{
    const std::vector<std::string> words(arguments + 1, arguments + count);
    int screen = 0;
    connection = xcb_connect(nullptr, &screen);
    if (words.size() < 2 || xcb_connection_has_error(connection))
        return 1;
    xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection, &ewmh), nullptr);
    const xcb_screen_t *const root = ewmh.screens[screen];
    window = xcb_generate_id(connection);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, root->root, 10, 10, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, root->root_visual, XCB_CW_EVENT_MASK, &events);
    set(ewmh._NET_WM_NAME, ewmh.UTF8_STRING, 8, words[0].data(), words[0].size());
    std::string windowClass = words[1];
    windowClass[windowClass.find('.')] = '\0';
    windowClass += '\0';
    set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, windowClass.data(), windowClass.size());
    const xcb_atom_t deletion = atom("WM_DELETE_WINDOW");
    set(ewmh.WM_PROTOCOLS, XCB_ATOM_ATOM, 32, &deletion, 1);
    bool stubborn = false;
    bool unattended = false;
    for (size_t i = 2; i < words.size(); ++i) {
        special(words[i]);
        stubborn = stubborn || words[i] == "stubborn";
        unattended = unattended || words[i] == "unattended";
    }
    xcb_map_window(connection, window);
    xcb_flush(connection);

    bool announced = false;
    std::string input;
    auto sources =
        std::to_array<pollfd>({{xcb_get_file_descriptor(connection), POLLIN, 0}, {0, POLLIN, 0}});
    while (true) {
        while (xcb_generic_event_t *const event = xcb_poll_for_event(connection)) {
            const int type = event->response_type & 0x7f;
            // The window manager sets this property of managed windows.
            if (type == XCB_PROPERTY_NOTIFY && !announced &&
                reinterpret_cast<xcb_property_notify_event_t *>(event)->atom ==
                    ewmh._NET_WM_VISIBLE_NAME) {
                announced = true;
                std::puts("shown");
                std::fflush(stdout);
            }
            if (type == XCB_CLIENT_MESSAGE &&
                reinterpret_cast<xcb_client_message_event_t *>(event)->data.data32[0] == deletion) {
                std::puts("asked to close");
                std::fflush(stdout);
                if (!stubborn)
                    return 0;
            }
            std::free(event);
        }
        if (xcb_connection_has_error(connection))
            return 2;
        if (poll(sources.data(), unattended ? 1 : 2, -1) > 0 &&
            (sources[1].revents & (POLLIN | POLLHUP))) {
            char letter = 0;
            if (read(0, &letter, 1) != 1)
                return 0;
            input += letter;
            if (letter == '\n') {
                if (input == "iconify\n")
                    iconify();
                input.clear();
            }
        }
    }
}
