#pragma once

class NativeWindow;

/// Turns an ordinary window into the borderless, translucent panel.
namespace WindowStyler {
/// Schedules the styling for after the event at hand, when the window is complete. A window that is
/// forgotten by the shell until then is left alone.
void make(NativeWindow &window);
} // namespace WindowStyler
