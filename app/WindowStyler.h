#pragma once

class NativeWindow;

/// Turns a normal window into the borderless, translucent panel.
namespace WindowStyler {
/// Styles the window from the event loop, when it is complete. Does nothing if the window is
/// removed from the shell before.
void make(NativeWindow &window);
} // namespace WindowStyler
