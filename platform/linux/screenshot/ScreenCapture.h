#pragma once

#include <QFuture>

#include <filesystem>

/// Pictures of the X display.
namespace ScreenCapture {
/// Writes what all monitors show to a PNG file, on a thread of its own. The future carries a
/// PlatformError where that cannot be done; a server that says nothing for two seconds counts as
/// one that never will. Main thread.
[[nodiscard]] QFuture<void> capture(const std::filesystem::path &file);
} // namespace ScreenCapture
