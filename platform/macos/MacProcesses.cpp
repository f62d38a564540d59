#include "platform/macos/MacProcesses.h"

#include <QFile>

#include <libproc.h>
#include <unistd.h>

#include <array>

namespace {
pid_t number(ProcessId process)
{
    return static_cast<pid_t>(process);
}

// The device of a process without a terminal.
constexpr uint32_t noTerminal = 0xffffffff;
} // namespace

QList<ProcessId> MacProcesses::all() const
{
    // Processes may have started between the two calls.
    constexpr int room = 64;
    QList<pid_t> numbers(proc_listallpids(nullptr, 0) + room);
    const int count = proc_listallpids(numbers.data(),
                                       static_cast<int>(numbers.size() * qsizetype(sizeof(pid_t))));
    QList<ProcessId> found;
    for (const pid_t each : numbers.first(qBound(0, count, static_cast<int>(numbers.size()))))
        found.append(ProcessId{each});
    return found;
}

QString MacProcesses::program(ProcessId process) const
{
    std::array<char, PROC_PIDPATHINFO_MAXSIZE> path{};
    const int length = proc_pidpath(number(process), path.data(), path.size());
    return length > 0 ? QFile::decodeName(QByteArray(path.data(), length)) : QString();
}

std::optional<ProcessRecord> MacProcesses::record(ProcessId process) const
{
    proc_bsdinfo told{};
    if (proc_pidinfo(number(process), PROC_PIDTBSDINFO, 0, &told, sizeof(told)) !=
        static_cast<int>(sizeof(told)))
        return std::nullopt;
    ProcessRecord record{.parent = ProcessId{told.pbi_ppid},
                         .session = ProcessId{getsid(number(process))}};
    if (told.e_tdev != noTerminal && told.e_tdev != 0)
        record.terminal = TerminalId{told.e_tdev};
    record.isInForeground = record.terminal && told.e_tpgid == told.pbi_pgid;
    // The device of its standard input, if that is a terminal.
    vnode_fdinfowithpath input{};
    if (proc_pidfdinfo(number(process), STDIN_FILENO, PROC_PIDFDVNODEPATHINFO, &input,
                       sizeof(input)) == static_cast<int>(sizeof(input)) &&
        QByteArray(input.pvip.vip_path).startsWith("/dev/tty"))
        record.input = TerminalId{input.pvip.vip_vi.vi_stat.vst_rdev};
    return record;
}
