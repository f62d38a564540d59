#pragma once

#include "base/ProcessId.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <filesystem>
#include <optional>
#include <vector>

/// The folders with the desktop entries, read with limits: there may be circular links, links to
/// the whole disk, named pipes and endless files. GIO indexes all of these folders without a limit,
/// even to read one entry.
namespace ApplicationFolders {
/// The XDG application folders, the user's first.
[[nodiscard]] QStringList all();

struct EntryFile
{
    QString id; ///< "kde-dolphin" for kde/dolphin.desktop.
    std::filesystem::path path;
    std::filesystem::file_time_type time; ///< The time of its last change.

    bool operator==(const EntryFile &) const = default;
};

/// The desktop entries of that folder, the least deep first. Each real folder is read once, only a
/// few levels deep, and up to a maximum number and total size of files that content() can read.
[[nodiscard]] std::vector<EntryFile> entriesIn(const std::filesystem::path &folder);

/// The content of the file, or of the target of a link; nothing unless it is a regular file of a
/// plausible size. Never blocks on a pipe.
[[nodiscard]] std::optional<QByteArray> content(const QString &file);
} // namespace ApplicationFolders

/// An application as its desktop entry describes it, read from that file alone. Main thread.
struct DesktopEntry
{
    QString location;       ///< The path of the entry.
    QStringList names;      ///< In the user's language, then untranslated.
    QByteArray commandLine; ///< With its field codes.
    QString program;        ///< The file name of the program.
    QString folder;         ///< Its working directory; empty for the home.
    QString icon;
    QString claimedClass; ///< WM_CLASS of its windows.
    QStringList categories;
    bool isHidden = false; ///< Removes the entries with its id.
    bool isShown = true;   ///< In the menus of this desktop.
    bool needsTerminal = false;
    bool startsByBus = false; ///< The session bus starts it, by the name of its id.

    /// Nothing if the file does not describe an application that can be started.
    [[nodiscard]] static std::optional<DesktopEntry> at(const QString &location);

    /// The word as it has to be in the command line of an entry.
    [[nodiscard]] static QString quoted(const QString &word);

    /// Whether it accepts addresses, not only paths.
    [[nodiscard]] bool takesAddresses() const;

    /// Starts the application, with an address if there is one. Returns the leader of the new
    /// session, or 0 if another process starts it. Throws a PlatformError.
    ProcessId start(const QByteArray &uri = {}) const;
};
