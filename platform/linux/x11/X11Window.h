#pragma once

#include "base/ProcessId.h"

#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <set>

/// Whether there is a display at all: applications that are started without one only die.
[[nodiscard]] inline bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// The X server's name for a window.
enum class X11WindowId : quint32 {};

/// One window as the window manager and its application describe it.
struct X11Window
{
    enum class Kind {
        ordinary, ///< An application's window or dialog.
        extra,    ///< A dock, a menu, a palette, …
        desktop,  ///< What is behind all others.
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

    /// Whether it is the assistant's, which runs as these processes. One that runs out of sight, in
    /// a container or as another user, is known by its windows' class.
    [[nodiscard]] bool isOurs(const std::set<ProcessId> &ours) const;
};

/// The window manager's view of the screen at one moment.
struct X11Snapshot
{
    QList<X11Window> windows;   ///< Front to back, a thousand at most.
    QList<X11WindowId> clients; ///< In the order in which they appeared.
    std::optional<X11Window> active;
};

/// Whom a window belongs to, for the user: what its desktop entry calls it, else its class.
struct WindowOwner
{
    std::optional<QString> name;
    std::optional<QString> location; ///< Its desktop entry's, or what counts in place of that.
};

[[nodiscard]] WindowOwner ownerOf(const X11Window &window);
