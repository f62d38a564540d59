#pragma once

#include <QString>

/// The desktop's own settings for keys that run a command: a second key for the panel if Alt+Space
/// belongs to another program. The desktop keeps it, so that it works after the next login too.
/// Main thread; each call takes a few seconds at most.
namespace DesktopKeys {
/// The key that is bound, as desktops write it.
[[nodiscard]] QString name();

/// What shows and hides the panel, as a command for such settings: a program that is not installed
/// is not on the user's path.
[[nodiscard]] QString toggleCommand();

/// Whether this desktop's settings are known: those of GNOME, MATE, KDE and XFCE.
[[nodiscard]] bool canBind();

/// Whether bind() has been called on this desktop before, and the key still runs a command.
[[nodiscard]] bool isBound();

/// Binds the key to toggleCommand(). Throws PlatformError.
void bind();
} // namespace DesktopKeys
