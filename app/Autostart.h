#pragma once

/// Whether the desktop starts the program at login, hidden and with its hot key.
namespace Autostart {
enum class Switch { on, off };

/// Writes or removes the desktop's file for that. Throws PlatformError.
void set(Switch to);
} // namespace Autostart
