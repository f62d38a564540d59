#include "platform/OwnProcesses.h"

#include <QMap>
#include <QTest>

#include <algorithm>
#include <initializer_list>

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 desktop = 2;
constexpr qint64 self = 500;
const QString quillon = u"/usr/bin/quillon"_s;

/// A process table in memory.
class Table final : public ProcessList
{
public:
    Table() { add(desktop, 1, u"/usr/bin/desktop"_s); }

    ProcessRecord &add(qint64 process, qint64 parent, const QString &path)
    {
        m_programs[ProcessId{process}] = path;
        return m_records[ProcessId{process}] =
                   ProcessRecord{.parent = ProcessId{parent}, .session = ProcessId{process}};
    }

    /// Adds a shell on a terminal that the holder shows.
    void addShell(qint64 process, qint64 holder, qint64 terminal)
    {
        add(process, holder, u"/usr/bin/sh"_s).terminal = TerminalId{terminal};
    }

    /// Adds a program that the shell has started in the foreground.
    void addCommand(qint64 process, qint64 shell, const QString &path = quillon)
    {
        ProcessRecord &record = add(process, shell, path);
        record.session = ProcessId{shell};
        record.terminal = record.input = m_records[ProcessId{shell}].terminal;
        record.isInForeground = true;
    }

    ProcessRecord &at(qint64 process) { return m_records[ProcessId{process}]; }
    void remove(qint64 process)
    {
        m_records.remove(ProcessId{process});
        m_programs.remove(ProcessId{process});
    }

    [[nodiscard]] QList<ProcessId> all() const override { return m_records.keys(); }
    [[nodiscard]] QString program(ProcessId process) const override
    {
        return m_programs.value(process);
    }
    [[nodiscard]] std::optional<ProcessRecord> record(ProcessId process) const override
    {
        const auto found = m_records.constFind(process);
        return found == m_records.constEnd() ? std::nullopt : std::optional(*found);
    }

    /// Those of these processes that are the assistant.
    [[nodiscard]] QList<qint64> ours(std::initializer_list<qint64> asked) const
    {
        const std::set<ProcessId> found =
            ownProcesses(*this, ProcessId{self}, {u"quillon"_s, u"quillon-keyboard"_s});
        QList<qint64> result;
        std::ranges::copy_if(asked, std::back_inserter(result),
                             [&](qint64 process) { return found.contains(ProcessId{process}); });
        return result;
    }

private:
    QMap<ProcessId, QString> m_programs;
    QMap<ProcessId, ProcessRecord> m_records;
};
} // namespace

class tst_OwnProcesses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recognisesTheProgramByItsFile_data();
    void recognisesTheProgramByItsFile();
    void ourAncestorsAreOurs();
    void ourParentMayBeAnotherInstance();
    void findsTheTerminalWithoutItsShell();
    void aTerminalThatWeOnlyReadIsOurs();
    void anotherTerminalIsNot();
    void theTerminalOfAnotherInstanceIsOursWhileItIsInTheForeground();
    void findsATerminalThroughAMultiplexer();
    void findsATerminalThroughTwoMultiplexers();
    void anotherMultiplexersTerminalIsNot();
    void endedProcessesEndTheSearch();
    void circularParentsEndTheSearch();
    void areRememberedForAMoment();
};

void tst_OwnProcesses::recognisesTheProgramByItsFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isOurs");
    QTest::newRow("the same file") << u"/usr/bin/quillon"_s << true;
    QTest::newRow("built elsewhere") << u"/home/me/build/quillon"_s << true;
    QTest::newRow("out of an image") << u"/tmp/.mount_1/usr/bin/quillon"_s << true;
    QTest::newRow("replaced since") << u"/usr/bin/quillon (deleted)"_s << true;
    QTest::newRow("what types") << u"/usr/libexec/quillon/quillon-keyboard"_s << true;
    QTest::newRow("another one") << u"/usr/bin/quill"_s << false;
    QTest::newRow("a folder of that name") << u"/opt/quillon/editor"_s << false;
    QTest::newRow("the system does not tell") << QString() << false;
}

void tst_OwnProcesses::recognisesTheProgramByItsFile()
{
    QFETCH(const QString, path);
    QFETCH(const bool, isOurs);
    Table table;
    table.add(self, desktop, quillon);
    table.add(10, 1, path);
    QCOMPARE(table.ours({self, 10}), isOurs ? QList<qint64>({self, 10}) : QList<qint64>{self});
}

void tst_OwnProcesses::ourAncestorsAreOurs()
{
    Table table;
    table.add(100, desktop, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(self, 101);
    QCOMPARE(table.ours({100, 101, self, desktop}), (QList<qint64>{100, 101, self, desktop}));

    // Also without a terminal.
    Table other;
    other.add(100, 1, u"/usr/bin/launcher"_s);
    other.add(self, 100, quillon);
    QCOMPARE(other.ours({100, self}), (QList<qint64>{100, self}));
}

void tst_OwnProcesses::ourParentMayBeAnotherInstance()
{
    Table table;
    table.add(100, 1, u"/usr/bin/launcher"_s);
    table.add(101, 100, quillon);
    table.add(self, 101, quillon);
    QCOMPARE(table.ours({100, 101}), (QList<qint64>{100, 101}));
}

void tst_OwnProcesses::findsTheTerminalWithoutItsShell()
{
    // Started in the background by a nested shell, which has ended.
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(self, 101);
    table.at(self).parent = ProcessId{1};
    table.at(self).isInForeground = false;
    QCOMPARE(table.ours({100, self}), (QList<qint64>{100, self}));
}

void tst_OwnProcesses::aTerminalThatWeOnlyReadIsOurs()
{
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.add(self, 1, quillon).input = TerminalId{1};
    QCOMPARE(table.ours({100, self}), (QList<qint64>{100, self}));
}

void tst_OwnProcesses::anotherTerminalIsNot()
{
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(self, 101);
    table.add(200, 1, u"/usr/bin/terminal"_s);
    table.addShell(201, 200, 2);
    table.addCommand(202, 201, u"/usr/bin/editor"_s);
    QCOMPARE(table.ours({100, 200, 201, 202}), QList<qint64>{100});
}

void tst_OwnProcesses::theTerminalOfAnotherInstanceIsOursWhileItIsInTheForeground()
{
    Table table;
    table.add(self, desktop, quillon);
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(102, 101);
    QCOMPARE(table.ours({100, 102}), (QList<qint64>{100, 102}));

    table.at(102).isInForeground = false;
    QCOMPARE(table.ours({100, 101, 102}), QList<qint64>{102});

    // It may have left the terminal's session and still read it.
    table.at(102) = {.parent = ProcessId{1}, .session = ProcessId{102}, .input = TerminalId{1}};
    QCOMPARE(table.ours({100, 101, 102}), (QList<qint64>{100, 102}));

    table.remove(102);
    QCOMPARE(table.ours({100, 101}), QList<qint64>());
}

void tst_OwnProcesses::findsATerminalThroughAMultiplexer()
{
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(102, 101, u"/usr/bin/tmux"_s);
    table.add(300, 1, u"/usr/bin/tmux"_s);
    table.addShell(301, 300, 2);
    table.addCommand(self, 301);
    QCOMPARE(table.ours({100, 300}), (QList<qint64>{100, 300}));

    // Also the terminal of another one.
    table.add(self, desktop, quillon);
    table.addCommand(302, 301);
    QCOMPARE(table.ours({100, 300}), (QList<qint64>{100, 300}));
    table.at(302).isInForeground = false;
    QCOMPARE(table.ours({100, 300}), QList<qint64>());
}

void tst_OwnProcesses::findsATerminalThroughTwoMultiplexers()
{
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(102, 101, u"/usr/bin/screen"_s);
    table.add(200, 1, u"/usr/bin/screen"_s);
    table.addShell(201, 200, 2);
    table.addCommand(202, 201, u"/usr/bin/tmux"_s);
    table.add(300, 1, u"/usr/bin/tmux"_s);
    table.addShell(301, 300, 3);
    table.addCommand(self, 301);
    QCOMPARE(table.ours({100, 200, 300}), (QList<qint64>{100, 200, 300}));
}

void tst_OwnProcesses::anotherMultiplexersTerminalIsNot()
{
    Table table;
    table.add(100, 1, u"/usr/bin/terminal"_s);
    table.addShell(101, 100, 1);
    table.addCommand(102, 101, u"/usr/bin/screen"_s);
    // A client without a terminal window receives no input.
    table.add(110, 1, u"/usr/bin/terminal"_s);
    table.addShell(111, 110, 4);
    table.addCommand(112, 111, u"/usr/bin/tmux"_s);
    table.at(112).isInForeground = false;
    table.add(300, 1, u"/usr/bin/tmux"_s);
    table.addShell(301, 300, 2);
    table.addCommand(self, 301);
    QCOMPARE(table.ours({100, 110, 300}), QList<qint64>{300});
}

void tst_OwnProcesses::endedProcessesEndTheSearch()
{
    Table table;
    table.add(self, 77, quillon);
    table.at(self).session = ProcessId{78};
    table.at(self).terminal = TerminalId{1};
    QCOMPARE(table.ours({self}), QList<qint64>{self});
    table.remove(self);
    QCOMPARE(table.ours({self}), QList<qint64>{self});
}

void tst_OwnProcesses::circularParentsEndTheSearch()
{
    Table table;
    table.add(self, 10, quillon);
    table.add(10, 11, u"/a"_s);
    table.add(11, 10, u"/a"_s);
    QCOMPARE(table.ours({10, 11}), (QList<qint64>{10, 11}));
}

void tst_OwnProcesses::areRememberedForAMoment()
{
    Table table;
    table.add(self, desktop, quillon);
    OwnProcesses remembered(std::chrono::hours(1));
    OwnProcesses forgotten(std::chrono::milliseconds(0));
    const auto find = [&](OwnProcesses &own) {
        return own.find(table, ProcessId{self}, {u"quillon"_s}).contains(ProcessId{10});
    };
    QVERIFY(!find(remembered) && !find(forgotten));
    table.add(10, 1, quillon);
    QVERIFY(!find(remembered));
    QVERIFY(find(forgotten));
    // A question of another instance ignores answers for longer.
    QCOMPARE(OwnProcesses::defaultLifetime, std::chrono::milliseconds(100));
}

QTEST_APPLESS_MAIN(tst_OwnProcesses)
#include "tst_OwnProcesses.moc"
