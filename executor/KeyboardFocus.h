#pragma once

#include "platform/Workspace.h"

#include <QCoro/QCoroTask>

/// Who gets what is typed: the application that the user works with, never the assistant itself.
namespace Executor::KeyboardFocus {
/// Sees to it that the user's application has the keyboard, from which the assistant's own window
/// may have taken it, and returns that application. An ActionError where there is none, or where it
/// does not take the keyboard.
[[nodiscard]] QCoro::Task<ProcessId> handOver();

/// Whether the application still has the keyboard.
[[nodiscard]] bool isWith(ProcessId application);
} // namespace Executor::KeyboardFocus
