#pragma once

#include "platform/linux/x11/Xcb.h"

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

/// A connection to the X server of one's own whose events arrive on the main thread. Goes silent
/// when the server does. Main thread.
///
/// Its requests wait for the server without bound, as the toolkit's do: a panel has nothing to show
/// while the server that would show it hangs.
class X11Events final : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const xcb_generic_event_t &)>;

    /// Nothing without a server.
    [[nodiscard]] static std::unique_ptr<X11Events> open(Handler handler);
    ~X11Events() override;

    [[nodiscard]] xcb_connection_t *connection() const { return m_display.connection.get(); }
    [[nodiscard]] int screen() const { return m_display.number; }
    [[nodiscard]] quint32 root() const { return m_display.screen->root; }

    /// Sends what was asked for. To be called after every group of requests: events that came with
    /// an answer are delivered from the event loop.
    void flush();

private:
    X11Events(XcbDisplay display, Handler handler);

    void drain();

    const XcbDisplay m_display;
    const Handler m_handler;
    QSocketNotifier m_notifier;
    bool m_drainIsDue = false;
};
