#pragma once

#include "platform/Workspace.h"
#include "platform/linux/desktop/DesktopEntry.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// Whether the session has a window system: without one, applications cannot be started.
[[nodiscard]] inline bool hasWindowSystem()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// The properties by which the application of a window is recognised.
struct WindowClass
{
    std::optional<ProcessId> process;
    QString instanceName; ///< The two parts of WM_CLASS.
    QString className;
};

/// The applications that desktop entries describe. A location is the path of an entry. Main thread.
namespace DesktopEntries {
/// The applications in the folder that are visible on this desktop, in the order of the file names.
/// Without entries that an earlier folder replaces or hides.
[[nodiscard]] QList<InstalledApplication> in(const QString &folder);

/// The pseudo-location of a running application without an entry, from the name of its window. It
/// can be found and activated by that, but not started.
[[nodiscard]] QString locationWithoutEntry(const QString &name);

/// Whether the location is a desktop entry, not a pseudo-location.
[[nodiscard]] bool isEntry(const QString &location);

/// Whether the application shows web pages.
[[nodiscard]] bool isBrowser(const QString &location);

/// The entry's name in the user's language.
[[nodiscard]] QString name(const QString &location);

/// The name for the safety rules while the application is in front: its name, followed by a word
/// for mail or other messages if it sends these and its name does not tell: "Thunderbird (Mail)".
[[nodiscard]] QString nameInFront(const QString &location);

/// The application with that nameInFront(), if its name is another one.
[[nodiscard]] std::optional<QString> namedInFront(const QString &foldedName);

/// The counterparts of the Mac's stock application with that name, this desktop's default first.
[[nodiscard]] QStringList counterparts(const QString &stockName);

/// The ids of the applications for that content type, in order of preference, without ".desktop".
/// Applications for its parent types follow, such as those for text after those for a script.
/// Includes only those for which `isThere` returns true.
[[nodiscard]] QStringList defaultsFor(const QString &contentType, const QStringList &folders,
                                      const std::function<bool(const QString &)> &isThere);

/// The location of the default application for such an address: by its scheme, or by the type of a
/// file. Nothing if there is none.
[[nodiscard]] std::optional<QString> defaultFor(const QByteArray &uri);

/// Opens the address with its default application. Returns what DesktopEntry::start() returns, and
/// throws a PlatformError, also if there is no display.
ProcessId open(const QByteArray &uri);

/// Starts the application, with an address if there is one. Returns and throws like open().
ProcessId start(const QString &location, const QByteArray &uri = {});

/// The entry of a window's application: the one with the window's class or name; or the one that
/// starts the window's program, unless the class belongs to something else.
[[nodiscard]] std::optional<InstalledApplication> forWindow(const WindowClass &window);
} // namespace DesktopEntries
