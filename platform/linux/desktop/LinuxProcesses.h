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

    /// One of the files on a process, or what can be read of it; nothing where it is no file.
    [[nodiscard]] QByteArray read(ProcessId process, QLatin1StringView name) const;

private:
    [[nodiscard]] QString entry(ProcessId process, QLatin1StringView name) const;

    QString m_folder;
};

/// The processes that are the assistant; see ownProcesses().
[[nodiscard]] std::set<ProcessId> ourProcesses();
