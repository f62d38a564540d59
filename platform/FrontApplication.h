#pragma once

#include "platform/Workspace.h"

class Screen;

/// The application that the user works with where the system says which one has the focus: that
/// one, or, while it is the assistant itself, the one whose window is next.
[[nodiscard]] std::optional<Application> frontApplication(const std::optional<Application> &focused,
                                                          Workspace &workspace, Screen &screen);
