#include "platform/linux/x11/X11Events.h"

#include "platform/linux/x11/XcbReply.h"

#include <QMetaObject>

#include <utility>

std::unique_ptr<X11Events> X11Events::open(Handler handler)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return nullptr;
    int screen = 0;
    xcb_connection_t *const connection = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::unique_ptr<X11Events>(new X11Events(connection, screen, std::move(handler)));
}

X11Events::X11Events(xcb_connection_t *connection, int screen, Handler handler)
    : m_connection(connection)
    , m_screen(screen)
    , m_handler(std::move(handler))
    , m_notifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read)
{
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screen && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;
    connect(&m_notifier, &QSocketNotifier::activated, this, &X11Events::drain);
}

X11Events::~X11Events()
{
    m_notifier.setEnabled(false);
    xcb_disconnect(m_connection);
}

void X11Events::flush()
{
    xcb_flush(m_connection);
    // An event that was read together with an answer does not wake the notifier any more.
    if (!std::exchange(m_drainIsDue, true))
        QMetaObject::invokeMethod(this, &X11Events::drain, Qt::QueuedConnection);
}

void X11Events::drain()
{
    m_drainIsDue = false;
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)})
        m_handler(*event);
    if (xcb_connection_has_error(m_connection) != 0)
        m_notifier.setEnabled(false);
}
