#pragma once

#include "base/WorkQueue.h"
#include "platform/linux/x11/X11Window.h"

#include <QList>

#include <memory>
#include <optional>
#include <set>

/// The X desktop for the main thread: its windows through EWMH. A server that hangs costs two
/// seconds once, and afterwards counts as absent until it answers again.
class X11Desktop
{
public:
    X11Desktop();
    ~X11Desktop();
    X11Desktop(const X11Desktop &) = delete;
    X11Desktop &operator=(const X11Desktop &) = delete;

    /// What is on the screen; nothing without a server that answers.
    [[nodiscard]] std::optional<X11Snapshot> snapshot();

    /// The active window or, while that is one of the assistant's, which run as these processes,
    /// the one that is nearest to the user otherwise, however many there are. Nothing if there is
    /// no desktop, and a PlatformError if its server does not answer.
    [[nodiscard]] std::optional<X11Window> front(const std::set<ProcessId> &ours);

    /// The process of the active window, with 0 for one that is unknown; nothing if no window is
    /// active. Far cheaper than a snapshot.
    [[nodiscard]] std::optional<ProcessId> activeOwner();

    /// Asks the window manager for these.
    void activate(X11WindowId window);
    void close(const QList<X11WindowId> &windows);

private:
    struct Front;
    class Session;
    struct Connection;

    /// What the session with the server answers in time; nothing otherwise.
    template <typename Question>
    auto ask(Question question) -> decltype(question(std::declval<Session &>()));

    std::shared_ptr<Connection> m_connection; ///< Shared with the work, which may outlast us.
    WorkQueue m_queue{"x11"};
};
