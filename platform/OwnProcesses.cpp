#include "platform/OwnProcesses.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
class Search
{
public:
    Search(const ProcessList &list, const QStringList &programs)
        : m_list(list), m_programs(programs), m_all(list.all())
    {
    }

    std::set<ProcessId> run(ProcessId self)
    {
        for (const ProcessId process : m_all) {
            if (process == self || !isOurProgram(process))
                continue;
            m_found.insert(process);
            const std::optional<ProcessRecord> record = m_list.record(process);
            if (record && isTalkedTo(*record))
                addTerminalsOf(*record);
        }
        m_found.insert(self);
        if (const std::optional<ProcessRecord> record = m_list.record(self)) {
            addAncestors(record->parent);
            addTerminalsOf(*record);
        }
        return m_found;
    }

private:
    // The file of a program that has been replaced since it was started is marked so.
    [[nodiscard]] bool isOurProgram(ProcessId process) const
    {
        QString path = m_list.program(process);
        const QString mark = u" (deleted)"_s;
        if (path.endsWith(mark))
            path.chop(mark.size());
        return m_programs.contains(QFileInfo(path).fileName());
    }

    // A terminal that does not control the process knows no foreground.
    [[nodiscard]] static bool isTalkedTo(const ProcessRecord &record)
    {
        return record.isInForeground || (record.input && record.input != record.terminal);
    }

    void addAncestors(ProcessId process)
    {
        constexpr ProcessId first{1};
        while (process > first && m_ancestors.insert(process).second) {
            m_found.insert(process);
            const std::optional<ProcessRecord> record = m_list.record(process);
            if (!record)
                return;
            process = record->parent;
        }
    }

    void addTerminalsOf(const ProcessRecord &record)
    {
        if (record.terminal)
            addHolders(*record.terminal, record.session);
        if (record.input && record.input != record.terminal) {
            for (const ProcessId process : m_all) {
                const std::optional<ProcessRecord> other = m_list.record(process);
                if (other && other->session == process && other->terminal == record.input)
                    addHolders(*record.input, process);
            }
        }
    }

    // What shows the terminal has started the process that leads its session.
    void addHolders(TerminalId terminal, ProcessId leader)
    {
        if (!m_terminals.insert(terminal).second)
            return;
        const std::optional<ProcessRecord> led = m_list.record(leader);
        if (!led)
            return;
        addAncestors(led->parent);
        const std::optional<ProcessRecord> holder = m_list.record(led->parent);
        if (holder && !holder->terminal)
            addClients(led->parent);
    }

    // One that has no terminal itself may be the server of a multiplexer: its clients run the same
    // program, each in the foreground of the terminal that shows it.
    void addClients(ProcessId server)
    {
        const QString program = m_list.program(server);
        if (program.isEmpty())
            return;
        for (const ProcessId process : m_all) {
            if (process == server || m_list.program(process) != program)
                continue;
            const std::optional<ProcessRecord> client = m_list.record(process);
            if (client && client->terminal && client->isInForeground) {
                addAncestors(client->parent);
                addHolders(*client->terminal, client->session);
            }
        }
    }

    const ProcessList &m_list;
    const QStringList &m_programs;
    const QList<ProcessId> m_all;
    std::set<ProcessId> m_found;
    std::set<ProcessId> m_ancestors;
    std::set<TerminalId> m_terminals; ///< Those whose holders have been looked for.
};
} // namespace

std::set<ProcessId> ownProcesses(const ProcessList &list, ProcessId self,
                                 const QStringList &programs)
{
    return Search(list, programs).run(self);
}

std::set<ProcessId> OwnProcesses::find(const ProcessList &list, ProcessId self,
                                       const QStringList &programs)
{
    if (m_expiry.hasExpired()) {
        m_found = ownProcesses(list, self, programs);
        m_expiry.setRemainingTime(m_lifetime);
    }
    return m_found;
}
