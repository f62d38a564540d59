#pragma once

#include "platform/Workspace.h"

#include <optional>

class Screen;

/// The process that has the keyboard focus at this moment. NSWorkspace's own answer changes only
/// while AppKit's event loop runs. Main thread.
namespace FrontProcess {
/// The focused application according to the accessibility interface, if that is permitted;
/// otherwise the one that NSWorkspace tells, if any, or the owner of the topmost normal window.
/// Blocks for AccessibleTree::silenceLimit at most.
[[nodiscard]] std::optional<ProcessId> find(std::optional<ProcessId> told, Screen &screen);
} // namespace FrontProcess
