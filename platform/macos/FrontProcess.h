#pragma once

#include "platform/Workspace.h"

#include <optional>

class Screen;

/// Which process has the keyboard, as the system knows it at this moment. The workspace's own
/// answer changes only while AppKit's loop runs. Main thread.
namespace FrontProcess {
/// The process of the application that has the focus. Accessibility knows it, when we are trusted;
/// else it is the one that the workspace tells, if it does, or the owner of the topmost ordinary
/// window. Waits for AccessibleTree::silenceLimit at most.
[[nodiscard]] std::optional<ProcessId> find(std::optional<ProcessId> told, Screen &screen);
} // namespace FrontProcess
