#include "base/WorkQueue.h"

#include "base/WorkerThread.h"
#include "tests/support/HeldJob.h"
#include "tests/support/Waiting.h"

#include <QTest>

#include <atomic>
#include <future>
#include <memory>
#include <set>
#include <thread>

class tst_WorkQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void doesJobsInOrderOnOneThread();
    void closeWaitsForTheRunningJobAndRefusesTheOthers();
    void aClosedQueueRefuses();
    void continuesWithANewThreadAfterAnAbandonedJob();
    void aThreadThatWasGivenUpTakesNoMoreJobs();
    void aJobMayAbandonItself();
    void closesWhileAJobIsAbandoned();
    void runsTheLastWorkWithoutAJob();
    void callsRunOnOneOtherThread();
    void givesUpACallAfterTheTimeout();
    void failsAtOnceDuringAnOverdueCallAndRecovers();
    void anOverdueCallDoesNotBlockTheDestructor();
    void anAbandonedCallReturnsNothing();
};

namespace {
using namespace std::chrono_literals;

// Longer than any test may take.
constexpr auto ages = std::chrono::milliseconds(24h);

using Refusal = WorkQueue::Refusal;
using Refusals = std::vector<Refusal>;
} // namespace

void tst_WorkQueue::doesJobsInOrderOnOneThread()
{
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    {
        WorkQueue queue("test.queue");
        std::promise<void> done;
        for (int i = 0; i < 100; ++i) {
            queue.add({[&, i] {
                order.push_back(i);
                threads.push_back(std::this_thread::get_id());
                if (i == 99)
                    done.set_value();
            }});
        }
        done.get_future().wait();
    }
    QCOMPARE(order.size(), std::size_t(100));
    for (int i = 0; i < 100; ++i) {
        QCOMPARE(order[std::size_t(i)], i);
        QVERIFY(threads[std::size_t(i)] == threads.front());
    }
    QVERIFY(threads.front() != std::this_thread::get_id());
}

void tst_WorkQueue::closeWaitsForTheRunningJobAndRefusesTheOthers()
{
    WorkQueue queue("test.queue");
    HeldJob gate;
    Refusals refusals;
    bool ran = false;
    bool lastRan = false;
    std::thread opener;
    queue.add(gate.job());
    queue.add({[&] { ran = true; },
               [&](Refusal reason) {
                   refusals.push_back(reason);
                   opener = std::thread([&] { gate.open(); });
               }});
    gate.waitUntilBegun();
    queue.close([&] { lastRan = true; });
    opener.join();
    QVERIFY(refusals == Refusals{Refusal::closed});
    QVERIFY(!ran);
    QVERIFY(lastRan);
}

void tst_WorkQueue::aClosedQueueRefuses()
{
    WorkQueue queue("test.queue");
    queue.close();
    queue.close([] { QFAIL("a second close has nothing to do"); });
    Refusals refusals;
    queue.add({[] { QFAIL("the queue is closed"); },
               [&](Refusal reason) { refusals.push_back(reason); }});
    QVERIFY(refusals == Refusals{Refusal::closed});
}

void tst_WorkQueue::continuesWithANewThreadAfterAnAbandonedJob()
{
    WorkQueue queue("test.queue");
    std::promise<void> begun;
    std::atomic<int> refused = 0;
    queue.add({[&] {
                   begun.set_value();
                   WorkerThread::park();
               },
               [&](Refusal) { ++refused; }});
    std::promise<void> next;
    queue.add({[&] { next.set_value(); }});
    begun.get_future().wait();
    queue.abandonRunningJob();
    next.get_future().wait();
    QCOMPARE(refused.load(), 1);
}

void tst_WorkQueue::aThreadThatWasGivenUpTakesNoMoreJobs()
{
    WorkQueue queue("test.queue");
    HeldJob given;
    std::promise<void> returned;
    // Destroyed by the thread after the job.
    std::shared_ptr<void> last(nullptr, [&](void *) { returned.set_value(); });
    queue.add({[work = given.job().work, last = std::move(last)] { work(); }});
    given.waitUntilBegun();
    queue.abandonRunningJob();

    HeldJob current;
    std::set<std::thread::id> threads;
    queue.add({[&, work = current.job().work] {
        threads.insert(std::this_thread::get_id());
        work();
    }});
    current.waitUntilBegun();
    given.open();
    returned.get_future().wait();
    for (int i = 0; i < 1000; ++i)
        queue.add({[&] { threads.insert(std::this_thread::get_id()); }});
    std::promise<void> allDone;
    queue.add({[&] { allDone.set_value(); }});
    current.open();
    allDone.get_future().wait();
    QCOMPARE(threads.size(), std::size_t{1});
}

void tst_WorkQueue::aJobMayAbandonItself()
{
    WorkQueue queue("test.queue");
    std::promise<Refusal> refused;
    queue.add({[&] {
                   queue.abandonRunningJob();
                   WorkerThread::park();
               },
               [&](Refusal reason) { refused.set_value(reason); }});
    QVERIFY(refused.get_future().get() == Refusal::abandoned);
    std::promise<void> next;
    queue.add({[&] { next.set_value(); }});
    next.get_future().wait();
}

void tst_WorkQueue::closesWhileAJobIsAbandoned()
{
    std::promise<void> begun;
    std::promise<void> closing;
    std::promise<Refusal> refused;
    bool lastRan = false;
    {
        WorkQueue queue("test.queue");
        queue.add({[&] {
                       begun.set_value();
                       closing.get_future().wait();
                       queue.abandonRunningJob();
                       WorkerThread::park();
                   },
                   [&](Refusal reason) { refused.set_value(reason); }});
        queue.add({[] {}, [&](Refusal) { closing.set_value(); }});
        begun.get_future().wait();
        queue.close([&] { lastRan = true; });
    }
    QVERIFY(lastRan);
    QVERIFY(refused.get_future().get() == Refusal::abandoned);
}

void tst_WorkQueue::runsTheLastWorkWithoutAJob()
{
    bool lastRan = false;
    WorkQueue("test.queue").close([&] { lastRan = true; });
    QVERIFY(lastRan);
}

void tst_WorkQueue::callsRunOnOneOtherThread()
{
    WorkQueue queue("test.queue");
    const auto first = queue.call([] { return std::this_thread::get_id(); }, ages);
    const auto second = queue.call([] { return std::this_thread::get_id(); }, ages);
    QVERIFY(first && second);
    QVERIFY(*first == *second);
    QVERIFY(*first != std::this_thread::get_id());
}

void tst_WorkQueue::givesUpACallAfterTheTimeout()
{
    WorkQueue queue("test.queue");
    const auto release = std::make_shared<std::promise<void>>();
    QVERIFY(!queue.call([wait = release->get_future().share()] { return wait.wait(), 1; }, 1ms));
    release->set_value();
}

void tst_WorkQueue::failsAtOnceDuringAnOverdueCallAndRecovers()
{
    WorkQueue queue("test.queue");
    const auto release = std::make_shared<std::promise<void>>();
    QVERIFY(!queue.call([wait = release->get_future().share()] { return wait.wait(), 1; }, 1ms));
    // It would never come back if it waited for its turn.
    QVERIFY(!queue.call([] { return 2; }, ages));
    release->set_value();
    QTRY_COMPARE(queue.call([] { return 3; }, ages), 3);
}

void tst_WorkQueue::anOverdueCallDoesNotBlockTheDestructor()
{
    const auto release = std::make_shared<std::promise<void>>();
    const auto over = std::make_shared<std::promise<void>>();
    {
        WorkQueue queue("test.queue");
        QVERIFY(!queue.call(
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

void tst_WorkQueue::anAbandonedCallReturnsNothing()
{
    WorkQueue queue("test.queue");
    QVERIFY(!queue.call(
        [&queue] {
            queue.abandonRunningJob();
            WorkerThread::park();
            return 1;
        },
        ages));
    QCOMPARE(queue.call([] { return 2; }, ages), 2);
}

QTEST_GUILESS_MAIN(tst_WorkQueue)
#include "tst_WorkQueue.moc"
