#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

#include <xcb/xcb.h>

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

    /// Nothing where there is no server.
    [[nodiscard]] static std::unique_ptr<X11Events> open(Handler handler);
    ~X11Events() override;

    [[nodiscard]] xcb_connection_t *connection() const { return m_connection; }
    [[nodiscard]] int screen() const { return m_screen; }
    [[nodiscard]] quint32 root() const { return m_root; }

    /// Sends what was asked for. To be called after every group of requests: events that came with
    /// an answer are delivered from the event loop.
    void flush();

private:
    X11Events(xcb_connection_t *connection, int screen, Handler handler);

    void drain();

    xcb_connection_t *const m_connection;
    const int m_screen;
    const Handler m_handler;
    quint32 m_root = 0;
    QSocketNotifier m_notifier;
    bool m_drainIsDue = false;
};
