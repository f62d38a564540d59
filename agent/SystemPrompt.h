#pragma once

#include <QString>

/// What the model is told before every task: the format of its replies, the actions, the rules, and
/// an example. Plain ASCII.
[[nodiscard]] QString systemPrompt();
