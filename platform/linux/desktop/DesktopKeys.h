#pragma once

#include <QString>

/// The desktop's settings for keys that run a command: another key for the panel if another program
/// owns Alt+Space. The desktop stores it, so that it works after the next login too. Main thread;
/// each call blocks for a few seconds at most.
namespace DesktopKeys {
/// The bound key in the desktops' notation.
[[nodiscard]] QString name();

/// The command that shows and hides the panel, with the full path of a program that is not
/// installed.
[[nodiscard]] QString toggleCommand();

/// Whether this desktop's settings are known: those of GNOME, MATE, KDE and XFCE.
[[nodiscard]] bool canBind();

/// Whether bind() has been called on this desktop before, and the key still runs a command.
[[nodiscard]] bool isBound();

/// Binds the key to toggleCommand(). Throws a PlatformError.
void bind();
} // namespace DesktopKeys
