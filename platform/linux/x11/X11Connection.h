#pragma once

#include "platform/Workspace.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>
#include <set>

/// The X server's name for a window.
enum class X11WindowId : quint32 {};

/// One window as the window manager and its application describe it.
struct X11Window
{
    enum class Kind {
        ordinary, ///< An application's window or dialog.
        extra,    ///< A dock, a menu, a palette, …
        desktop,  ///< What lies behind all others.
    };

    X11WindowId id{};
    std::optional<ProcessId> owner;
    QString instanceName; ///< The two halves of WM_CLASS.
    QString className;
    std::optional<QString> title;
    Kind kind = Kind::ordinary;
    bool onScreen = true; ///< Neither minimised nor on another desktop.
    bool inTaskBar = true;

    /// Whether it is one of those that people work in.
    [[nodiscard]] bool isOrdinary() const { return kind == Kind::ordinary && inTaskBar; }
};

/// The window manager's view of the screen at one moment.
struct X11Snapshot
{
    QList<X11Window> windows;   ///< Front to back, a thousand at most.
    QList<X11WindowId> clients; ///< In the order in which they appeared.
    std::optional<X11Window> active;
};

/// The window that the user works in, if there is one.
struct X11Front
{
    std::optional<X11Window> window;
};

/// A connection to the X server, made at the first request and again after the server went away.
/// Every call may wait for the server without bound. To be used from one thread at a time.
class X11Connection
{
public:
    X11Connection();
    ~X11Connection();
    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    /// What is on the screen; nothing without a server.
    [[nodiscard]] std::optional<X11Snapshot> snapshot();

    /// The active window or, while that is one of the assistant's, which run as these processes,
    /// the one that is nearest to the user otherwise, however many there are. Nothing without a
    /// server.
    [[nodiscard]] std::optional<X11Front> front(const std::set<ProcessId> &ours);

    /// The process of the active window, with 0 for one that is unknown; nothing where no window is
    /// active. Far cheaper than a snapshot.
    [[nodiscard]] std::optional<ProcessId> activeOwner();

    /// Asks the window manager for these; false without a server.
    bool activate(X11WindowId window);
    bool close(const QList<X11WindowId> &windows);

private:
    class Session;

    /// The session, where there is a server that answers.
    Session *session();

    std::unique_ptr<Session> m_session;
};
