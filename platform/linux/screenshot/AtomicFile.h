#pragma once

#include <QByteArray>

#include <filesystem>

/// Writes a file atomically.
namespace AtomicFile {
/// Writes the file beside its destination and moves it there once it is on the disk. A link at the
/// destination is replaced, not followed. On failure, throws a PlatformError and leaves no file.
/// Any thread.
void write(const std::filesystem::path &path, const QByteArray &content);
} // namespace AtomicFile
