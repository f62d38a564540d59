#include "executor/Pause.h"
#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QCoro/QCoroTask>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Exceeds the test's time limit unless the cancellation ends it.
constexpr auto endless = std::chrono::milliseconds(24h);

class tst_Pause : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPauseLastsAtLeastItsTimeWhileTheEventLoopRuns();
    void aCancelledPauseTakesNoTime();
    void aCancellationEndsThePause();
    void keepsTheCancellationUntilTheEnd();
    void aCancelledWaitDoesNotAbortTheAction();
    void theWaitsHaveTheirLengths();
};

void tst_Pause::aPauseLastsAtLeastItsTimeWhileTheEventLoopRuns()
{
    int turns = 0;
    QTimer other;
    QObject::connect(&other, &QTimer::timeout, &other, [&] { ++turns; });
    other.start(1ms);
    // Qt fires the earlier of two timers first.
    QTimer earlier;
    earlier.setSingleShot(true);
    earlier.setTimerType(Qt::PreciseTimer);
    earlier.start(49ms);
    QCoro::waitFor(Executor::pause(50ms, {}));
    QVERIFY(!earlier.isActive());
    QVERIFY(turns > 0);
}

void tst_Pause::aCancelledPauseTakesNoTime()
{
    const auto cancellation = std::make_shared<Cancellation>();
    cancellation->cancel();
    const QCoro::Task<void> task = Executor::pause(endless, cancellation);
    QVERIFY(task.isReady());
}

void tst_Pause::aCancellationEndsThePause()
{
    const auto cancellation = std::make_shared<Cancellation>();
    QCoro::Task<void> task = Executor::pause(endless, cancellation);
    QCoreApplication::processEvents();
    QVERIFY(!task.isReady());
    cancellation->cancel();
    QCoro::waitFor(std::move(task));
}

void tst_Pause::keepsTheCancellationUntilTheEnd()
{
    auto cancellation = std::make_shared<Cancellation>();
    const std::weak_ptr<Cancellation> watched = cancellation;
    {
        QCoro::Task<void> task = Executor::pause(20ms, cancellation);
        cancellation.reset();
        QVERIFY(!watched.expired());
        QCoro::waitFor(std::move(task));
    }
    QVERIFY(watched.expired());
}

void tst_Pause::aCancelledWaitDoesNotAbortTheAction()
{
    FakePlatform platform;
    platform.fakeWorkspace.running = {{.pid = ProcessId{4}, .name = u"Notes"_s}};
    const auto cancellation = std::make_shared<Cancellation>();
    cancellation->cancel();
    QCOMPARE(outcome(Executor::run(action(u"open_url"_s, {{u"url"_s, u"a.com"_s}}), cancellation)),
             u"Opened a.com in the default browser."_s);
    QCOMPARE(platform.fakeWorkspace.opened.size(), 1);
    QCOMPARE(outcome(Executor::run(action(u"quit_app"_s, {{u"app"_s, u"Notes"_s}}), cancellation)),
             u"Notes quit."_s);
}

void tst_Pause::theWaitsHaveTheirLengths()
{
    QCOMPARE(Executor::launchSettle, 700ms);
    QCOMPARE(Executor::pageSettle, 1200ms);
    QCOMPARE(Executor::quitGrace, 600ms);
}

QTEST_GUILESS_MAIN(tst_Pause)
#include "tst_Pause.moc"
