#pragma once

#include "platform/OwnProcesses.h"

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>

#include <utility>

/// The process table in /proc. Any thread.
class LinuxProcesses final : public ProcessList
{
public:
    LinuxProcesses();
    /// Another folder with the same files, for tests.
    explicit LinuxProcesses(QString folder) : m_folder(std::move(folder)) {}

    [[nodiscard]] QList<ProcessId> all() const override;
    [[nodiscard]] QString program(ProcessId process) const override;
    [[nodiscard]] std::optional<ProcessRecord> record(ProcessId process) const override;

    /// The program and its arguments with null characters between them; empty if it has ended.
    [[nodiscard]] QByteArray commandLine(ProcessId process) const;

    /// Whether the process has ended; true for zombies.
    [[nodiscard]] bool hasEnded(ProcessId process) const;

    /// The session leader of the process; 0 if the process has ended. Child processes stay in the
    /// session, even after the program has ended.
    [[nodiscard]] ProcessId session(ProcessId process) const;

    /// Whether both processes belong to one application: one is an ancestor of the other and both
    /// run the same program, or both are in the same sandbox. One process of an application may own
    /// the window and another one the connection to the accessibility bus.
    [[nodiscard]] bool areSameApplication(ProcessId one, ProcessId other) const;

private:
    /// The content of one of the files of a process, as far as it can be read; empty if it is not a
    /// regular file.
    [[nodiscard]] QByteArray read(ProcessId process, QLatin1StringView name) const;
    /// The Flatpak instance of a process, also of the one that forwards D-Bus.
    [[nodiscard]] QByteArray sandbox(ProcessId process) const;
    [[nodiscard]] bool descendsFrom(ProcessId process, ProcessId ancestor) const;
    [[nodiscard]] QString entry(ProcessId process, QLatin1StringView name) const;

    QString m_folder;
};

/// The processes that count as the assistant; see OwnProcesses. Main thread.
[[nodiscard]] std::set<ProcessId> ourProcesses();
