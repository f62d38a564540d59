// Many turns in one process with the real library and a real model file: the program's resources
// must not grow. Runs 200 turns, or the number in the variable QUILLON_SOAK_TURNS.

#include "agent/AgentSession.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/TestModel.h"
#include "tests/support/Waiting.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTest>
#include <QTimer>

#include <functional>

#include <malloc.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
constexpr int warmUp = 100;
constexpr int usualTurns = 200;

// Growth of the heap that is allowed for any number of turns. A leak of one kilobyte per turn would
// be twice as much.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qint64 tolerance = qint64{512} * 1024 * 1024; // sanitizers keep freed memory for a while
#else
constexpr qint64 tolerance = qint64{512} * 1024;
#endif

qint64 residentBytes()
{
    malloc_trim(0);
    QFile statm(u"/proc/self/statm"_s);
    if (!statm.open(QIODevice::ReadOnly))
        qFatal("The system does not tell our memory.");
    return statm.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

// Without the pauses of QTRY_VERIFY, which would take most of the time.
bool comesTo(const std::function<bool()> &condition)
{
    const QDeadlineTimer limit(eventually);
    QTimer tick;
    tick.start(100);
    while (!condition() && !limit.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

qsizetype entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}
} // namespace

class tst_Soak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void useNothingUp();
};

void tst_Soak::useNothingUp()
{
    FakePlatform platform;
    const Application notes{.pid = ProcessId{7}, .name = u"Notes"_s};
    platform.fakeWorkspace.front = notes;
    platform.fakeWorkspace.running = {notes};
    platform.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save it"_s});
    const Executor::PauseOverride noPauses([](std::chrono::milliseconds, const auto &) {});
    TestModel model = TestModel::saying({R"({"action":"read_ui","of":"Notes"})",
                                         R"({"action":"click","label":"Save it"})",
                                         R"({"action":"type_text","text":"It is written."})",
                                         R"({"action":"trash","path":"old.zip"})",
                                         R"({"action":"done","message":"It is saved."})"});
    // Short prompts, so that turns are fast.
    model.alphabet = "{}";
    model.write(QDir(ModelManager::directory()).filePath(LocalModel::catalog().first().fileName));
    ModelManager manager;
    AgentSession session(manager);

    const auto runTurn = [&] {
        session.submit(u"Write it down, save it and tidy up"_s);
        QVERIFY(comesTo([&] { return session.pending().has_value(); }));
        session.resolve(true);
        QVERIFY(comesTo([&] { return !session.isRunning(); }));
        QCOMPARE(session.turns().last().summary, u"It is saved."_s);
        QCOMPARE(platform.fakeAccessibility.pressed.size(), 1);
        QCOMPARE(platform.fakeWorkspace.trashed.size(), 1);
        // Clears the records of the fakes and the history, which are no leaks.
        platform.fakeAccessibility.pressed.clear();
        platform.fakeAccessibility.opened.clear();
        platform.fakeWorkspace.trashed.clear();
        platform.fakeKeyboard.events.clear();
        platform.fakeKeyboard.announced.clear();
        platform.fakeKeyboard.receivers.clear();
        session.setTurns({});
    };

    for (int turn = 0; turn < warmUp && !QTest::currentTestFailed(); ++turn)
        runTurn();
    const qint64 memory = residentBytes();
    const qsizetype descriptors = entries(u"/proc/self/fd"_s);
    const qsizetype threads = entries(u"/proc/self/task"_s);

    bool isNumber = false;
    const int asked = qEnvironmentVariableIntValue("QUILLON_SOAK_TURNS", &isNumber);
    const int turns = isNumber ? asked : usualTurns;
    for (int turn = 0; turn < turns && !QTest::currentTestFailed(); ++turn)
        runTurn();
    if (QTest::currentTestFailed())
        return;
    const qint64 growth = residentBytes() - memory;
    qInfo("%d turns: %lld KB more than the %lld KB after the first %d", turns, growth / 1024,
          memory / 1024, warmUp);
    QVERIFY(growth < tolerance);
    QCOMPARE(entries(u"/proc/self/fd"_s), descriptors);
    QCOMPARE(entries(u"/proc/self/task"_s), threads);
}

int main(int argc, char *argv[])
{
    const PrivateHome home;
    const QCoreApplication application(argc, argv);
    tst_Soak test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Soak.moc"
