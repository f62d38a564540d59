#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <vector>

/// The files in the application folders, found by a walk that has an end whatever is there: links
/// in a circle, links to the whole disk, named pipes, files without an end.
namespace EntryFiles {
struct File
{
    QString id; ///< "kde-dolphin" for kde/dolphin.desktop.
    std::filesystem::path path;
    std::filesystem::file_time_type time; ///< When it was written last.

    bool operator==(const File &) const = default;
};

/// What that folder has, what is nearest to it in front. Regular files of a size that an entry may
/// have; each real folder is looked into once, few levels deep, up to a number of files.
[[nodiscard]] std::vector<File> in(const std::filesystem::path &folder);

/// Whether it is a regular file of a size that can be read at once, or a link to one.
[[nodiscard]] bool isReadable(const std::filesystem::path &file);
} // namespace EntryFiles
