#include "base/BoundedWorker.h"

#include <QTest>

#include <future>

using namespace std::chrono_literals;

// Longer than any test may take.
constexpr auto ages = std::chrono::milliseconds(24h);

class tst_BoundedWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void workIsDoneOnOneOtherThread();
    void workThatTakesTooLongYieldsNothing();
    void aWorkerThatIsStuckFailsAtOnceAndRecovers();
    void aWorkerThatIsStuckDoesNotHoldItsOwnerUp();
};

void tst_BoundedWorker::workIsDoneOnOneOtherThread()
{
    BoundedWorker worker;
    const auto first = worker.run([] { return std::this_thread::get_id(); }, ages);
    const auto second = worker.run([] { return std::this_thread::get_id(); }, ages);
    QVERIFY(first && second);
    QVERIFY(*first == *second);
    QVERIFY(*first != std::this_thread::get_id());
}

void tst_BoundedWorker::workThatTakesTooLongYieldsNothing()
{
    BoundedWorker worker;
    const auto release = std::make_shared<std::promise<void>>();
    QVERIFY(!worker.run([wait = release->get_future().share()] { return wait.wait(), 1; }, 1ms));
    release->set_value();
}

void tst_BoundedWorker::aWorkerThatIsStuckFailsAtOnceAndRecovers()
{
    BoundedWorker worker;
    const auto release = std::make_shared<std::promise<void>>();
    QVERIFY(!worker.run([wait = release->get_future().share()] { return wait.wait(), 1; }, 1ms));
    // If it waited for its turn, it would never return.
    QVERIFY(!worker.run([] { return 2; }, ages));
    release->set_value();
    QTRY_COMPARE(worker.run([] { return 3; }, ages), 3);
}

void tst_BoundedWorker::aWorkerThatIsStuckDoesNotHoldItsOwnerUp()
{
    const auto release = std::make_shared<std::promise<void>>();
    const auto over = std::make_shared<std::promise<void>>();
    {
        BoundedWorker worker;
        QVERIFY(!worker.run(
            [wait = release->get_future().share(), over] {
                wait.wait();
                over->set_value();
                return 1;
            },
            1ms));
    }
    release->set_value();
    over->get_future().wait();
}

QTEST_APPLESS_MAIN(tst_BoundedWorker)
#include "tst_BoundedWorker.moc"
