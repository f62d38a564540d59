#pragma once

#include <QString>

#include <filesystem>

/// Paths as the actions name them.
namespace Executor {
/// The entry's path in that folder.
[[nodiscard]] QString joined(const QString &folder, const QString &entry);

/// The name at the path's end; "/" for the root.
[[nodiscard]] QString lastPathComponent(const QString &path);

/// The same path for the file system. A PlatformError where the file system knows no such path at
/// all: it would stop reading at a null character and mean another item.
[[nodiscard]] std::filesystem::path nativePath(const QString &path);

/// Whether there is an item at that path; a link counts as what it leads to.
[[nodiscard]] bool somethingExistsAt(const QString &path);

/// A native name as text, with replacement characters where it is none.
[[nodiscard]] QString shownName(const std::filesystem::path &name);
} // namespace Executor
