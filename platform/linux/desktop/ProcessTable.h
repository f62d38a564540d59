#pragma once

#include "base/ProcessId.h"

#include <QString>

using Qt::StringLiterals::operator""_s;

/// Applications may be made of several processes, of which one has the window and another one the
/// connection to the accessibility bus.
namespace ProcessTable {
/// Whether both processes belong to one application: one started the other and both run the same
/// program, or both belong to the same sandbox. The files of the process table are read in that
/// folder.
[[nodiscard]] bool isSameApplication(ProcessId one, ProcessId other,
                                     const QString &table = u"/proc"_s);
} // namespace ProcessTable
