#include "platform/linux/x11/X11Events.h"

#include <QMetaObject>

#include <utility>

std::unique_ptr<X11Events> X11Events::open(Handler handler)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return nullptr;
    XcbDisplay display = Xcb::open();
    return display.connection
               ? std::unique_ptr<X11Events>(new X11Events(std::move(display), std::move(handler)))
               : nullptr;
}

X11Events::X11Events(XcbDisplay display, Handler handler)
    : m_display(std::move(display))
    , m_handler(std::move(handler))
    , m_notifier(xcb_get_file_descriptor(connection()), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &X11Events::drain);
}

X11Events::~X11Events()
{
    m_notifier.setEnabled(false);
}

void X11Events::flush()
{
    xcb_flush(connection());
    // Events that were read together with a reply do not activate the notifier.
    if (!std::exchange(m_drainIsDue, true))
        QMetaObject::invokeMethod(this, &X11Events::drain, Qt::QueuedConnection);
}

void X11Events::drain()
{
    m_drainIsDue = false;
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection())})
        m_handler(*event);
    if (!Xcb::isAlive(m_display.connection))
        m_notifier.setEnabled(false);
}
