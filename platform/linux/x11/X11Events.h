#pragma once

#include "platform/linux/x11/Xcb.h"

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

/// A connection to the X server whose events are delivered on the main thread. Delivers none after
/// the server is gone. Main thread.
///
/// Requests block on the server without a timeout, like those of the toolkit: while the server
/// hangs, the panel is not visible either.
class X11Events final : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const xcb_generic_event_t &)>;

    /// Null without a server.
    [[nodiscard]] static std::unique_ptr<X11Events> open(Handler handler);
    ~X11Events() override;

    [[nodiscard]] xcb_connection_t *connection() const { return m_display.connection.get(); }
    [[nodiscard]] int screen() const { return m_display.number; }
    [[nodiscard]] quint32 root() const { return m_display.screen->root; }

    /// Sends the pending requests. Must be called after every group of requests: events that
    /// arrived with a reply are delivered from the event loop.
    void flush();

private:
    X11Events(XcbDisplay display, Handler handler);

    void drain();

    const XcbDisplay m_display;
    const Handler m_handler;
    QSocketNotifier m_notifier;
    bool m_drainIsDue = false;
};
