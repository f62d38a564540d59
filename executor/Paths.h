#pragma once

#include <QString>

#include <filesystem>

/// Paths as the actions name them.
namespace Executor {
/// The entry's path in that folder.
[[nodiscard]] QString joined(const QString &folder, const QString &entry);

/// The name at the path's end; "/" for the root.
[[nodiscard]] QString lastPathComponent(const QString &path);

/// The path for calls to the file system. Throws a PlatformError if the path contains a null
/// character, where the system would cut it and mean another item.
[[nodiscard]] std::filesystem::path nativePath(const QString &path);

/// Whether there is an item at that path; links are followed.
[[nodiscard]] bool somethingExistsAt(const QString &path);

/// A native name as text, with replacement characters for invalid bytes.
[[nodiscard]] QString shownName(const std::filesystem::path &name);
} // namespace Executor
