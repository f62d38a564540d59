#pragma once

#include "platform/Workspace.h"

#include <QString>

/// Applications may be made of several processes, of which one has the window and another one the
/// connection to the accessibility bus.
namespace Kinship {
/// Whether both processes belong to one application: one started the other and both run the same
/// program, or both belong to the same sandbox. The files of the process table are read in that
/// folder.
[[nodiscard]] bool isOneApplication(ProcessId one, ProcessId other,
                                    const QString &table = QStringLiteral("/proc"));
} // namespace Kinship
