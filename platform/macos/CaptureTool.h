#pragma once

#include <QFuture>
#include <QString>

#include <filesystem>

/// The program with which the system captures its screen.
namespace CaptureTool {
/// Has it write the screen to the file, without a sound. The future finishes when the program has
/// ended, however it did: whether it was allowed to, only the file tells. It carries a
/// PlatformError where the program cannot be started. Main thread.
[[nodiscard]] QFuture<void> run(const QString &program, const std::filesystem::path &file);
} // namespace CaptureTool
