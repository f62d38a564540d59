#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <vector>

/// The files in the application folders, found by a bounded walk: there may be circular links,
/// links to the whole disk, named pipes and endless files.
namespace EntryFiles {
struct File
{
    QString id; ///< "kde-dolphin" for kde/dolphin.desktop.
    std::filesystem::path path;
    std::filesystem::file_time_type time; ///< The time of its last change.

    bool operator==(const File &) const = default;
};

/// The desktop entries of that folder, the least deep first: regular files of a plausible size.
/// Each real folder is read once, only a few levels deep, and up to a maximum number of files.
[[nodiscard]] std::vector<File> in(const std::filesystem::path &folder);

/// Whether it is a regular file of a plausible size, or a link to one.
[[nodiscard]] bool isReadable(const std::filesystem::path &file);
} // namespace EntryFiles
