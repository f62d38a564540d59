#pragma once

#include <QString>

namespace Executor {
/// Returns if the system lets this process control others. If it does not, the system is asked for
/// that; some grant it at once, so that the action goes on. Otherwise an ActionError with that
/// sentence: the user has to grant it.
void requireTrust(const QString &complaint);
} // namespace Executor
