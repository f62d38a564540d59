#pragma once

#include <QFuture>
#include <QString>

#include <filesystem>

/// Runs the system's program for screen captures.
namespace CaptureTool {
/// Captures the screen into the file, without a sound. The future finishes when the program has
/// ended in any way; a capture that is not permitted shows only in the missing file. It carries a
/// PlatformError if the program cannot be started. Main thread.
[[nodiscard]] QFuture<void> run(const QString &program, const std::filesystem::path &file);
} // namespace CaptureTool
