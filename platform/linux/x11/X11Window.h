#pragma once

#include "base/ProcessId.h"

#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <set>

/// Whether there is a display: without one, applications cannot be started.
[[nodiscard]] inline bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// The X server's id of a window.
enum class X11WindowId : quint32 {};

/// A window as the window manager and its application describe it.
struct X11Window
{
    enum class Kind {
        ordinary, ///< An application's window or dialog.
        extra,    ///< A dock, a menu, a palette, …
        desktop,  ///< The desktop itself, behind all others.
    };

    X11WindowId id{};
    std::optional<ProcessId> owner;
    QString instanceName; ///< The two parts of WM_CLASS.
    QString className;
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

/// The owner of a window for the user: the name in its desktop entry, or else its class.
struct WindowOwner
{
    std::optional<QString> name;
    std::optional<QString> location; ///< The path of its desktop entry, or a pseudo-location.
};

[[nodiscard]] WindowOwner ownerOf(const X11Window &window);
