#pragma once

#include <QString>

namespace Executor {
/// Returns if this process has the permission to control other applications. If not, it requests
/// that permission; some systems grant it at once, and the action continues. Otherwise throws an
/// ActionError with the sentence: the user has to grant the permission.
void requireTrust(const QString &message);
} // namespace Executor
