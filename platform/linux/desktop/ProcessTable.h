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

/// Whether the process has ended; one that only waits to be looked at has.
[[nodiscard]] bool hasEnded(ProcessId process, const QString &table = u"/proc"_s);

/// The process that leads the session of that one; 0 where it is gone. All that a program starts
/// stays in its session, also when it ends before.
[[nodiscard]] ProcessId session(ProcessId process, const QString &table = u"/proc"_s);
} // namespace ProcessTable
