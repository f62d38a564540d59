#include "FakeLibproc.h"
#include "platform/macos/MacProcesses.h"

#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Fake = FakeLibproc;

class tst_MacProcesses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Fake::processes.clear(); }

    void listsAllProcesses();
    void aProcessIsDescribed();
    void unknownValuesAreAbsent();
    void theTerminalOfATaskIsOurs();
};

namespace {
constexpr uint32_t noTerminal = 0xffffffff;

Fake::Process process(uint32_t parent, const QByteArray &path, uint32_t terminal = noTerminal)
{
    return {
        .told = {.pbi_pid = 0, .pbi_ppid = parent, .pbi_pgid = 7, .e_tdev = terminal, .e_tpgid = 7},
        .path = path};
}
} // namespace

void tst_MacProcesses::listsAllProcesses()
{
    QVERIFY(MacProcesses().all().isEmpty());
    for (int i = 1; i <= 500; ++i)
        Fake::processes[i] = process(1, "/bin/a");
    const QList<ProcessId> all = MacProcesses().all();
    QCOMPARE(all.size(), 500);
    QVERIFY(all.contains(ProcessId{1}) && all.contains(ProcessId{500}));
}

void tst_MacProcesses::aProcessIsDescribed()
{
    const int self = getpid();
    Fake::Process told = process(5, "/Applications/Quillon.app/Contents/MacOS/Quillon", 3);
    told.inputPath = "/dev/ttys004";
    told.inputDevice = 4;
    Fake::processes[self] = told;
    const ProcessRecord expected{.parent = ProcessId{5},
                                 .session = ProcessId{getsid(0)},
                                 .terminal = TerminalId{3},
                                 .input = TerminalId{4},
                                 .isInForeground = true};
    QCOMPARE(MacProcesses().record(ProcessId{self}), expected);
    QCOMPARE(MacProcesses().program(ProcessId{self}),
             u"/Applications/Quillon.app/Contents/MacOS/Quillon"_s);

    Fake::processes[self].told.e_tpgid = 8;
    QVERIFY(!MacProcesses().record(ProcessId{self})->isInForeground);
}

void tst_MacProcesses::unknownValuesAreAbsent()
{
    QCOMPARE(MacProcesses().record(ProcessId{3}), std::nullopt);
    QCOMPARE(MacProcesses().program(ProcessId{3}), QString());
    Fake::Process told = process(1, "/bin/a");
    told.inputPath = "/dev/null";
    told.inputDevice = 4;
    Fake::processes[3] = told;
    const std::optional<ProcessRecord> record = MacProcesses().record(ProcessId{3});
    QVERIFY(record);
    QVERIFY(!record->terminal && !record->input && !record->isInForeground);
}

void tst_MacProcesses::theTerminalOfATaskIsOurs()
{
    const int self = getpid();
    Fake::processes[20] = process(1, "/Applications/Terminal.app/Contents/MacOS/Terminal");
    Fake::processes[21] = process(20, "/bin/zsh", 3);
    Fake::processes[30] = process(1, "/Applications/Mail.app/Contents/MacOS/Mail");
    Fake::processes[31] = process(1, "/Applications/Quillon.app/Contents/MacOS/Quillon");
    Fake::processes[self] = process(21, "/Users/me/build/Quillon", 3);
    const std::set<ProcessId> ours = ownProcesses(MacProcesses(), ProcessId{self}, {u"Quillon"_s});
    QCOMPARE(ours,
             (std::set<ProcessId>{ProcessId{20}, ProcessId{21}, ProcessId{31}, ProcessId{self}}));
}

QTEST_APPLESS_MAIN(tst_MacProcesses)
#include "tst_MacProcesses.moc"
