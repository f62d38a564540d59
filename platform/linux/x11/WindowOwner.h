#pragma once

#include <QString>

#include <optional>

struct X11Window;

/// Whom a window belongs to, for the user: what its desktop entry calls it, else its class.
struct WindowOwner
{
    std::optional<QString> name;
    std::optional<QString> location; ///< Its desktop entry's, or what counts in place of that.
};

[[nodiscard]] WindowOwner ownerOf(const X11Window &window);

/// Whether the window is this program's own.
[[nodiscard]] bool isOurs(const X11Window &window);
