#pragma once

#include <QFuture>

#include <filesystem>

/// The desktop portal, which takes pictures of the screen where programs cannot: under Wayland.
namespace ScreenPortal {
/// Has it take a picture, which it may first ask the user about, and puts that where it is wanted.
/// A portal that is not there, refuses or is refused leaves no file and no error; the future
/// carries a PlatformError only where the picture cannot be saved. Main thread.
[[nodiscard]] QFuture<void> capture(const std::filesystem::path &file);

/// Whether there is one, or can be started. Asks the session bus, for a few seconds at most.
[[nodiscard]] bool isOffered();
} // namespace ScreenPortal
