#pragma once

#include <QImage>

#include <functional>

/// What all monitors of the X display show.
namespace RootGrab {
/// Grabs it over a connection of its own, which may wait for the server without bound, and calls
/// back at each sign of life. Throws a PlatformError. Any thread.
[[nodiscard]] QImage grab(const std::function<void()> &answered);
} // namespace RootGrab
