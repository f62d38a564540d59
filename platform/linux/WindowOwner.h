#pragma once

#include "platform/Workspace.h"
#include "platform/linux/DesktopEntries.h"

#include <QString>

#include <optional>

struct X11Window;

/// Whom a window belongs to, for the user: what its desktop entry calls it, else its class.
struct WindowOwner
{
    std::optional<QString> name;
    std::optional<QString> location; ///< Its desktop entry, where it has one.
};

/// The owners of windows, as the desktop entries at one moment tell them. Reading all entries takes
/// longer than everything else: one of these serves for all windows.
class WindowOwners
{
public:
    [[nodiscard]] WindowOwner of(const X11Window &window) const;

private:
    DesktopEntries::Matcher m_entryOf;
};

/// Whether the window is this program's own.
[[nodiscard]] bool isOurs(const X11Window &window);
