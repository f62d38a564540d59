#pragma once

#include "base/WorkQueue.h"
#include "platform/linux/desktop/DesktopEntries.h"

#include <QList>

#include <memory>
#include <optional>
#include <set>

/// The X server's id of a window.
enum class X11WindowId : quint32 {};

/// A window as the window manager and its application describe it.
struct X11Window : WindowClass
{
    enum class Kind {
        ordinary, ///< An application's window or dialog.
        extra,    ///< A dock, a menu, a palette, …
        desktop,  ///< The desktop itself, behind all others.
    };

    X11WindowId id{};
    std::optional<QString> title;
    Kind kind = Kind::ordinary;
    bool onScreen = true; ///< Not minimised and not on another desktop.
    bool inTaskBar = true;

    /// Whether users work in it.
    [[nodiscard]] bool isOrdinary() const { return kind == Kind::ordinary && inTaskBar; }

    /// Whether it belongs to one of these processes of the assistant. An instance whose process is
    /// not visible, in a container or of another user, is recognised by the window's class.
    [[nodiscard]] bool isOurs(const std::set<ProcessId> &ours) const;
};

/// The window manager's state of the screen at one time.
struct X11Snapshot
{
    QList<X11Window> windows;   ///< From front to back, a thousand at most.
    QList<X11WindowId> clients; ///< In the order in which they appeared.
    std::optional<X11Window> active;
};

/// A window's application as the user knows it: the name in its desktop entry, or else its class.
struct WindowApplication
{
    std::optional<QString> name;
    std::optional<QString> location; ///< The path of its desktop entry, or a pseudo-location.
};

[[nodiscard]] WindowApplication applicationOf(const X11Window &window);

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
    [[nodiscard]] std::optional<ProcessId> activeProcess();

    /// Requests to the window manager.
    void activate(X11WindowId window);
    void close(const QList<X11WindowId> &windows);

private:
    struct FrontWindow;
    class Session;
    struct Connection;

    /// The session's answer; nothing after the timeout.
    template <typename Question>
    auto ask(const Question &question) -> decltype(question(std::declval<Session &>()));

    std::shared_ptr<Connection> m_connection; ///< Shared with the work, which may outlive this.
    WorkQueue m_queue{"x11"};
};
