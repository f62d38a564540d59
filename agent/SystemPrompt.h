#pragma once

#include <QString>

/// What the model is told before every task: how to reply, which actions there are, what to mind,
/// and an example. Plain ASCII.
[[nodiscard]] QString systemPrompt();
