#pragma once

#include <QFuture>

#include <filesystem>

/// The desktop portal's screenshots, for Wayland, where programs cannot capture the screen
/// themselves.
namespace ScreenPortal {
/// Takes a screenshot, after asking the user if the portal requires that, and saves it at the path.
/// If there is no portal, or if it or the user refuses, there is no file and no error; the future
/// carries a PlatformError only if the image cannot be saved. Main thread.
[[nodiscard]] QFuture<void> capture(const std::filesystem::path &file);

/// Whether the portal is running or can be started. Blocks on the session bus for a few seconds at
/// most.
[[nodiscard]] bool isOffered();
} // namespace ScreenPortal
