#pragma once

#include "platform/Workspace.h"

#include <QCoro/QCoroTask>

#include <optional>

/// Who gets what is typed: the application that the user works with, never the assistant itself.
namespace Executor::KeyboardFocus {
/// Sees to it that the user's application has the keyboard, from which the assistant's own window
/// may have taken it, and returns that application. An ActionError where there is none, or where it
/// does not take the keyboard.
[[nodiscard]] QCoro::Task<ProcessId> handOver();

/// Sees to it that what is in front is still the application that was there when it was decided
/// what to do there: the one of that process and that name, or nothing. Where the assistant's own
/// window or its terminal came to the front since, as it does to be answered, the application is
/// brought back. An ActionError otherwise.
[[nodiscard]] QCoro::Task<void> returnTo(std::optional<Application> application);

/// Whether the application still has the keyboard, and has not become the assistant's own terminal
/// meanwhile.
[[nodiscard]] bool isWith(ProcessId application);
} // namespace Executor::KeyboardFocus
