#include "platform/linux/desktop/ProcessTable.h"

#include "platform/linux/desktop/LinuxProcesses.h"

using namespace Qt::StringLiterals;

namespace {
// A browser's helpers are its children or grandchildren.
constexpr int maxGenerations = 8;

bool descendsFrom(const LinuxProcesses &table, ProcessId process, ProcessId ancestor)
{
    for (int i = 0; i < maxGenerations && process > ProcessId{1}; ++i) {
        process = table.record(process).value_or(ProcessRecord()).parent;
        if (process == ancestor)
            return true;
    }
    return false;
}

// Flatpak tells each process which instance it runs in, also the one that passes D-Bus on.
QByteArray sandbox(const LinuxProcesses &table, ProcessId process)
{
    const QByteArray key = "instance-id=";
    for (const QByteArray &line : table.read(process, "root/.flatpak-info"_L1).split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size());
    }
    return {};
}
} // namespace

bool ProcessTable::hasEnded(ProcessId process, const QString &table)
{
    const QByteArray status = LinuxProcesses(table).read(process, "stat"_L1);
    const char state = status.mid(status.lastIndexOf(')') + 2, 1).append('X').front();
    return status.isEmpty() || state == 'Z' || state == 'X';
}

ProcessId ProcessTable::session(ProcessId process, const QString &table)
{
    return LinuxProcesses(table).record(process).value_or(ProcessRecord()).session;
}

bool ProcessTable::isSameApplication(ProcessId one, ProcessId other, const QString &table)
{
    const LinuxProcesses processes(table);
    const QByteArray instance = sandbox(processes, one);
    if (!instance.isEmpty() && instance == sandbox(processes, other))
        return true;
    const QString same = processes.program(one);
    return !same.isEmpty() && same == processes.program(other) &&
           (descendsFrom(processes, one, other) || descendsFrom(processes, other, one));
}
