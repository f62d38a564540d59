#pragma once

#include "platform/Workspace.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <set>

/// A terminal, by the number of its device.
enum class TerminalId : qint64 {};

/// One process as the system's table describes it.
struct ProcessRecord
{
    ProcessId parent{};
    ProcessId session{};                  ///< The process that leads its session.
    std::optional<TerminalId> terminal{}; ///< The one that controls it.
    std::optional<TerminalId> input{};    ///< The one that it reads, if it reads any.
    bool isInForeground = false;          ///< What is typed into its terminal is for it.

    bool operator==(const ProcessRecord &) const = default;
};

/// The system's table of processes. They come and go while it is read. Main thread.
class ProcessList
{
public:
    virtual ~ProcessList() = default;

    [[nodiscard]] virtual QList<ProcessId> all() const = 0;

    /// The path of the file that the process runs; empty where the system does not tell.
    [[nodiscard]] virtual QString program(ProcessId process) const = 0;

    /// Nothing for a process that is gone.
    [[nodiscard]] virtual std::optional<ProcessRecord> record(ProcessId process) const = 0;
};

/// Which processes are the assistant itself, so that it never operates them: this one; every other
/// one that runs one of the programs, by the names of their files; and the applications in which
/// the user talks to one of them, the terminals above all. For this process these are all that it
/// was started by; for another one, those that show its terminal, as long as what is typed there is
/// for it. Terminals are found through a multiplexer, too.
[[nodiscard]] std::set<ProcessId> ownProcesses(const ProcessList &list, ProcessId self,
                                               const QStringList &programs);
