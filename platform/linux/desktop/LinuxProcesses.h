#pragma once

#include "platform/OwnProcesses.h"

#include <QByteArray>
#include <QLatin1StringView>

using Qt::StringLiterals::operator""_s;

/// The processes of the folder that the system shows its table in. Any thread.
class LinuxProcesses final : public ProcessList
{
public:
    explicit LinuxProcesses(const QString &folder = u"/proc"_s) : m_folder(folder) {}

    [[nodiscard]] QList<ProcessId> all() const override;
    [[nodiscard]] QString program(ProcessId process) const override;
    [[nodiscard]] std::optional<ProcessRecord> record(ProcessId process) const override;

    /// Whether the process has ended; one that only waits to be looked at has.
    [[nodiscard]] bool hasEnded(ProcessId process) const;

    /// The process that leads the session of that one; 0 if it is gone. All that a program starts
    /// stays in its session, also when it ends before.
    [[nodiscard]] ProcessId session(ProcessId process) const;

    /// Whether both processes belong to one application: one started the other and both run the
    /// same program, or both belong to the same sandbox. Of an application's processes one may have
    /// the window and another one the connection to the accessibility bus.
    [[nodiscard]] bool areSameApplication(ProcessId one, ProcessId other) const;

private:
    /// One of the files on a process, or what can be read of it; nothing if it is no file.
    [[nodiscard]] QByteArray read(ProcessId process, QLatin1StringView name) const;
    /// Flatpak tells each process which instance it runs in, also the one that passes D-Bus on.
    [[nodiscard]] QByteArray sandbox(ProcessId process) const;
    [[nodiscard]] bool descendsFrom(ProcessId process, ProcessId ancestor) const;
    [[nodiscard]] QString entry(ProcessId process, QLatin1StringView name) const;

    QString m_folder;
};

/// The processes that are the assistant; see ownProcesses().
[[nodiscard]] std::set<ProcessId> ourProcesses();
