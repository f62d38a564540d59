#pragma once

#include "platform/Workspace.h"

#include <QDeadlineTimer>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <set>

/// A terminal, identified by its device number.
enum class TerminalId : qint64 {};

/// An entry of the system's process table.
struct ProcessRecord
{
    ProcessId parent{};
    ProcessId session{};                  ///< The session leader.
    std::optional<TerminalId> terminal{}; ///< The controlling terminal.
    std::optional<TerminalId> input{};    ///< Its standard input, if that is a terminal.
    bool isInForeground = false;          ///< In the foreground of its terminal.

    bool operator==(const ProcessRecord &) const = default;
};

/// The system's process table. Processes may start and end while it is read. Main thread.
class ProcessList
{
public:
    virtual ~ProcessList() = default;

    [[nodiscard]] virtual QList<ProcessId> all() const = 0;

    /// The path of the process's executable; empty if the system does not tell.
    [[nodiscard]] virtual QString program(ProcessId process) const = 0;

    /// Nothing if the process has ended.
    [[nodiscard]] virtual std::optional<ProcessRecord> record(ProcessId process) const = 0;
};

/// The processes that count as the assistant itself, so that it never operates them: this one;
/// every other one whose executable has one of the names; and the applications in which the user
/// interacts with these, mainly terminals. For this process, these are all its ancestors; for
/// another one, those that show its terminal while it is in the foreground there. Terminals are
/// also found through a multiplexer.
[[nodiscard]] std::set<ProcessId> ownProcesses(const ProcessList &list, ProcessId self,
                                               const QStringList &programs);

/// Remembers them for a moment, since one step asks several times and finding them takes
/// milliseconds. Main thread.
class OwnProcesses
{
public:
    /// Shorter than the time in which a new instance can ask something, and than the time in
    /// which its question ignores answers.
    static constexpr std::chrono::milliseconds defaultLifetime{100};

    explicit OwnProcesses(std::chrono::milliseconds lifetime = defaultLifetime)
        : m_lifetime(lifetime)
    {
    }

    /// See ownProcesses(). All calls must have the same arguments.
    [[nodiscard]] std::set<ProcessId> find(const ProcessList &list, ProcessId self,
                                           const QStringList &programs);

private:
    const std::chrono::milliseconds m_lifetime;
    QDeadlineTimer m_expiry{0};
    std::set<ProcessId> m_found;
};
