#pragma once

#include "base/WorkQueue.h"
#include "platform/linux/x11/X11Window.h"

#include <QList>

#include <memory>
#include <optional>
#include <set>

/// The X desktop for the main thread: its windows by EWMH. A server that hangs blocks for two
/// seconds once, and then counts as absent until it answers again.
class X11Desktop
{
public:
    X11Desktop();
    ~X11Desktop();
    X11Desktop(const X11Desktop &) = delete;
    X11Desktop &operator=(const X11Desktop &) = delete;

    /// The windows of the screen; nothing if the server does not answer.
    [[nodiscard]] std::optional<X11Snapshot> snapshot();

    /// The active window or, if that belongs to one of these processes of the assistant, the
    /// topmost other one. Nothing if there is no desktop; throws a PlatformError if the server does
    /// not answer.
    [[nodiscard]] std::optional<X11Window> front(const std::set<ProcessId> &ours);

    /// The process of the active window, 0 if it is unknown; nothing if no window is active. Far
    /// cheaper than a snapshot.
    [[nodiscard]] std::optional<ProcessId> activeOwner();

    /// Requests to the window manager.
    void activate(X11WindowId window);
    void close(const QList<X11WindowId> &windows);

private:
    struct Front;
    class Session;
    struct Connection;

    /// The session's answer; nothing after the timeout.
    template <typename Question>
    auto ask(Question question) -> decltype(question(std::declval<Session &>()));

    std::shared_ptr<Connection> m_connection; ///< Shared with the work, which may outlive this.
    WorkQueue m_queue{"x11"};
};
