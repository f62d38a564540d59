#pragma once

#include <QByteArray>

#include <filesystem>

/// A file that appears as a whole or not at all.
namespace AtomicFile {
/// Writes it beside its place and moves it there once it is safe. A link at that place is replaced,
/// not followed. Throws a PlatformError, and then leaves nothing behind. Any thread.
void write(const std::filesystem::path &path, const QByteArray &content);
} // namespace AtomicFile
