#include "base/WorkQueue.h"

#include "base/WorkerThread.h"
#include "tests/support/HeldJob.h"

#include <QTest>

#include <atomic>
#include <future>

class tst_WorkQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void doesJobsInOrderOnOneThread();
    void closingLetsTheRunningJobEndAndRefusesTheRest();
    void aClosedQueueRefuses();
    void goesOnWithANewThreadAfterALostJob();
    void aJobCanLoseItsOwnThread();
    void closesWhileAJobIsLost();
};

namespace {
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

void tst_WorkQueue::closingLetsTheRunningJobEndAndRefusesTheRest()
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

void tst_WorkQueue::goesOnWithANewThreadAfterALostJob()
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

void tst_WorkQueue::aJobCanLoseItsOwnThread()
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

void tst_WorkQueue::closesWhileAJobIsLost()
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

QTEST_GUILESS_MAIN(tst_WorkQueue)
#include "tst_WorkQueue.moc"
