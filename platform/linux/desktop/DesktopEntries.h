#pragma once

#include "platform/Workspace.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

struct X11Window;

/// The applications that desktop entries describe, each by way of GIO, which knows their rules of
/// hiding and how to start them. A location is the path of an entry. Main thread.
namespace DesktopEntries {
/// The XDG application folders, the user's own first.
[[nodiscard]] QStringList folders();

/// What the folder offers on this desktop, in the order of the entries' file names. An entry that
/// an earlier folder replaces or hides is not among it.
[[nodiscard]] QList<InstalledApplication> in(const QString &folder);

/// What counts as the location of an application that runs and has no entry, by its window's name.
/// It can be found and brought to the front by that, and not be started.
[[nodiscard]] QString locationWithoutEntry(const QString &name);

/// Whether that is the location of a desktop entry, and not of an application without one.
[[nodiscard]] bool isEntry(const QString &location);

/// The entry's name in the user's language.
[[nodiscard]] QString name(const QString &location);

/// What it is called while it is in front, where it matters what Return does there: its name, and
/// for mail and other messages the word for it behind that, unless the name has it: "Thunderbird
/// (Mail)".
[[nodiscard]] QString nameInFront(const QString &location);

/// The application that has that name while it is in front, and no other time.
[[nodiscard]] std::optional<QString> namedInFront(const QString &foldedName);

/// The applications for what the Mac's stock application of that name does, this desktop's default
/// first.
[[nodiscard]] QStringList counterparts(const QString &stockName);

/// Where the application is that opens such an address by default: by its scheme, or a file by its
/// type. Nothing where there is none.
[[nodiscard]] std::optional<QString> defaultFor(const QByteArray &uri);

struct Started
{
    std::optional<QString> failure{}; ///< A sentence.
    ProcessId leader{};               ///< Of the new session; 0 where another process starts it.
};

/// Has the address opened by its default application.
[[nodiscard]] Started open(const QByteArray &uri);

/// Starts the application, with an address where there is one.
[[nodiscard]] Started start(const QString &location, const QByteArray &uri = {});

/// The entry of the application that a window belongs to: the one that claims the window's class or
/// is named after it; or the one that starts the window's program, where the class does not say
/// that it is something else.
[[nodiscard]] std::optional<InstalledApplication> forWindow(const X11Window &window);
} // namespace DesktopEntries
