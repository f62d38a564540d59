#pragma once

#include "agent/Transcript.h"

/// Why approval is needed, as the panel and the terminal show it: without invisible characters, and
/// on one line except for a script's text. Any thread.
[[nodiscard]] QString shownReason(const PendingConfirmation &pending);
