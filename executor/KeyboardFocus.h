#pragma once

#include "platform/Workspace.h"

#include <QCoro/QCoroTask>

#include <optional>

/// Makes typed input go to the application that the user works with, never to the assistant itself.
namespace Executor::KeyboardFocus {
/// Makes sure that the application for which an action was decided is still in front: the same
/// process with the same name, or still none. If the assistant's own window or its terminal has
/// come to the front meanwhile, for example to be answered, the application is activated again.
/// Throws an ActionError otherwise.
[[nodiscard]] QCoro::Task<void> returnTo(std::optional<Application> application);

/// The same, and gives it the keyboard focus if the assistant's window has taken that. Returns its
/// process. Throws an ActionError if there is no application or if it does not take the focus.
[[nodiscard]] QCoro::Task<ProcessId> handOverTo(std::optional<Application> application);

/// Whether the application still has the keyboard focus, and has not become the assistant's own
/// terminal meanwhile.
[[nodiscard]] bool isWith(ProcessId application);
} // namespace Executor::KeyboardFocus
