#pragma once

#include "platform/Workspace.h"

#include <QString>

#include <optional>
#include <set>

struct X11Window;

/// Whom a window belongs to, for the user: what its desktop entry calls it, else its class.
struct WindowOwner
{
    std::optional<QString> name;
    std::optional<QString> location; ///< Its desktop entry's, or what counts in place of that.
};

[[nodiscard]] WindowOwner ownerOf(const X11Window &window);

/// Whether the window is the assistant's, which runs as these processes. One that runs out of
/// sight, in a container or as another user, is known by its windows' class.
[[nodiscard]] bool isOurs(const X11Window &window, const std::set<ProcessId> &ours);
