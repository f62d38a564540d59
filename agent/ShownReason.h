#pragma once

#include "agent/Transcript.h"

/// Why approval is needed, as the user is shown it, in the panel and in the terminal alike: nothing
/// in it is hidden, and only a script has lines of its own. Any thread.
[[nodiscard]] QString shownReason(const PendingConfirmation &pending);
