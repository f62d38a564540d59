#pragma once

#include "platform/Workspace.h"

class Screen;

/// The application that the user works with: the focused one or, if that is the assistant itself,
/// the one whose window is next in the stacking order.
[[nodiscard]] std::optional<Application> frontApplication(const std::optional<Application> &focused,
                                                          Workspace &workspace, Screen &screen);
