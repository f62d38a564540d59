#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

/// The folders with the desktop entries and default applications, read with limits: there may be
/// circular links, links to the whole disk, named pipes and endless files. GIO indexes all of these
/// folders without a limit, even to read one entry.
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

/// The ids of the applications for that content type, in order of preference, without ".desktop".
/// Applications for its parent types follow, such as those for text after those for a script.
/// Includes only those for which `isThere` returns true.
[[nodiscard]] QStringList defaultsFor(const QString &contentType, const QStringList &folders,
                                      const std::function<bool(const QString &)> &isThere);
} // namespace ApplicationFolders
