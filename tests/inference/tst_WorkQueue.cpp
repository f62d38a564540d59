#include "inference/WorkQueue.h"

#include "inference/AbortGuard.h"
#include "inference/Park.h"
#include "inference/QueuedCall.h"
#include "tests/support/Awaited.h"

#include <QCoro/QCoroTask>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <optional>

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
    void resultsArriveOnTheMainThread();
    void errorsArriveAsErrors_data();
    void errorsArriveAsErrors();
    void theCallIsGoneBeforeItsResult();
    void aWaiterWhoseQueueEndsIsRefused();
    void aDestroyedCoroutineIsNotResumed();
    void abortsAreThrownInAGuard();
    void abortsOnTheLibrarysThreadsLoseTheCall();
};

namespace {
using Refusals = std::vector<InferenceError>;

// A job that runs until it is let go, and says when it has begun.
struct Gate
{
    std::promise<void> begun;
    std::promise<void> release;

    WorkQueue::Job job()
    {
        return {[this] {
            begun.set_value();
            release.get_future().wait();
        }};
    }
    void waitUntilBegun() { begun.get_future().wait(); }
    void open() { release.set_value(); }
};

QCoro::Task<int> ask(WorkQueue &queue, std::function<int()> call)
{
    QueuedCall<int> queued(queue, std::move(call), InferenceError::decodeFailed);
    co_return co_await queued;
}

// What a coroutine without QCoro's own lifetime rules does: its owner destroys it when it likes.
struct Owned
{
    struct promise_type
    {
        Owned get_return_object()
        {
            return {std::coroutine_handle<promise_type>::from_promise(*this)};
        }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_always final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
    std::coroutine_handle<promise_type> handle;
};
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
    Gate gate;
    Refusals refusals;
    bool ran = false;
    bool lastRan = false;
    std::thread opener;
    queue.add(gate.job());
    queue.add({[&] { ran = true; },
               [&](InferenceError error) {
                   refusals.push_back(error);
                   opener = std::thread([&] { gate.open(); });
               }});
    gate.waitUntilBegun();
    queue.close([&] { lastRan = true; });
    opener.join();
    QVERIFY(refusals == Refusals{InferenceError::notLoaded});
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
               [&](InferenceError error) { refusals.push_back(error); }});
    QVERIFY(refusals == Refusals{InferenceError::notLoaded});
}

void tst_WorkQueue::goesOnWithANewThreadAfterALostJob()
{
    WorkQueue queue("test.queue");
    std::promise<void> begun;
    std::atomic<int> refused = 0;
    queue.add({[&] {
                   begun.set_value();
                   parkForEver();
               },
               [&](InferenceError) { ++refused; }});
    std::promise<void> next;
    queue.add({[&] { next.set_value(); }});
    begun.get_future().wait();
    queue.giveUpRunningJob(InferenceError::decodeFailed);
    next.get_future().wait();
    QCOMPARE(refused.load(), 1);
}

void tst_WorkQueue::aJobCanLoseItsOwnThread()
{
    WorkQueue queue("test.queue");
    std::promise<InferenceError> refused;
    queue.add({[&] {
                   queue.giveUpRunningJob(InferenceError::decodeFailed);
                   parkForEver();
               },
               [&](InferenceError error) { refused.set_value(error); }});
    QVERIFY(refused.get_future().get() == InferenceError::decodeFailed);
    std::promise<void> next;
    queue.add({[&] { next.set_value(); }});
    next.get_future().wait();
}

void tst_WorkQueue::closesWhileAJobIsLost()
{
    std::promise<void> begun;
    std::promise<void> closing;
    std::promise<InferenceError> refused;
    bool lastRan = false;
    {
        WorkQueue queue("test.queue");
        queue.add({[&] {
                       begun.set_value();
                       closing.get_future().wait();
                       queue.giveUpRunningJob(InferenceError::decodeFailed);
                       parkForEver();
                   },
                   [&](InferenceError error) { refused.set_value(error); }});
        queue.add({[] {}, [&](InferenceError) { closing.set_value(); }});
        begun.get_future().wait();
        queue.close([&] { lastRan = true; });
    }
    QVERIFY(lastRan);
    QVERIFY(refused.get_future().get() == InferenceError::decodeFailed);
}

void tst_WorkQueue::resultsArriveOnTheMainThread()
{
    WorkQueue queue("test.queue");
    QThread *resumedOn = nullptr;
    const auto asking = [&]() -> QCoro::Task<int> {
        const int answer = co_await ask(queue, [] { return 42; });
        resumedOn = QThread::currentThread();
        co_return answer;
    };
    QCOMPARE(QCoro::waitFor(asking()), 42);
    QCOMPARE(resumedOn, thread());
}

void tst_WorkQueue::errorsArriveAsErrors_data()
{
    QTest::addColumn<bool>("ofItsOwn");
    QTest::addColumn<int>("expected");

    QTest::newRow("an inference error") << true << int(InferenceError::tokenizeFailed);
    QTest::newRow("anything else") << false << int(InferenceError::decodeFailed);
}

void tst_WorkQueue::errorsArriveAsErrors()
{
    QFETCH(bool, ofItsOwn);
    QFETCH(int, expected);

    WorkQueue queue("test.queue");
    const auto error = awaited(ask(queue, [&]() -> int {
                           if (ofItsOwn)
                               throw InferenceError(InferenceError::tokenizeFailed);
                           throw std::bad_alloc();
                       })).error;
    QVERIFY(error == InferenceError(InferenceError::Case(expected)));
}

void tst_WorkQueue::theCallIsGoneBeforeItsResult()
{
    WorkQueue queue("test.queue");
    const auto held = std::make_shared<int>(7);
    const auto asking = [&]() -> QCoro::Task<long> {
        std::function<int()> call = [copy = held] { return *copy; };
        co_await ask(queue, std::move(call));
        co_return held.use_count();
    };
    QCOMPARE(QCoro::waitFor(asking()), 1L);
}

void tst_WorkQueue::aWaiterWhoseQueueEndsIsRefused()
{
    auto queue = std::make_unique<WorkQueue>("test.queue");
    Gate gate;
    queue->add(gate.job());
    std::optional<InferenceError> error;
    const auto asking = [&]() -> QCoro::Task<> {
        try {
            co_await ask(*queue, [] { return 1; });
        } catch (const InferenceError &caught) {
            error = caught;
        }
    };
    QCoro::Task<> task = asking();
    gate.waitUntilBegun();
    gate.open();
    queue.reset();
    // It ran, or it was dropped; either way the coroutine ends.
    QCoro::waitFor(task);
    QVERIFY(!error || error == InferenceError(InferenceError::notLoaded));
}

void tst_WorkQueue::aDestroyedCoroutineIsNotResumed()
{
    WorkQueue queue("test.queue");
    Gate gate;
    queue.add(gate.job());
    bool resumed = false;
    const auto asking = [&]() -> Owned {
        co_await QueuedCall<int>(queue, [] { return 1; }, InferenceError::decodeFailed);
        resumed = true;
    };
    asking().handle.destroy();
    gate.open();
    QCOMPARE(QCoro::waitFor(ask(queue, [] { return 2; })), 2);
    QVERIFY(!resumed);
}

void tst_WorkQueue::abortsAreThrownInAGuard()
{
    std::string message;
    const std::function<void()> lost = [] { QFAIL("nothing computes"); };
    try {
        const AbortGuard outer(lost, 4);
        const AbortGuard inner;
        AbortGuard::onAbort("file:1: assertion");
    } catch (const LibraryAbort &abort) {
        message = abort.what();
    }
    QCOMPARE(message.c_str(), "file:1: assertion");
}

void tst_WorkQueue::abortsOnTheLibrarysThreadsLoseTheCall()
{
    WorkQueue queue("test.queue");
    std::atomic<int> losses = 0;
    const auto computing = [&] {
        const std::function<void()> lost = [&] {
            ++losses;
            queue.giveUpRunningJob(InferenceError::decodeFailed);
        };
        const AbortGuard outer;
        const AbortGuard guard(lost, 4);
        // The library's helpers, and the calling thread, come upon the same broken assertion.
        for (int i = 0; i < 3; ++i)
            std::thread([] { AbortGuard::onAbort("helper"); }).detach();
        AbortGuard::onAbort("caller");
        return 0;
    };
    const auto error = awaited(ask(queue, computing)).error;
    QVERIFY(error == InferenceError(InferenceError::decodeFailed));
    QCOMPARE(losses.load(), 1);
    QCOMPARE(QCoro::waitFor(ask(queue, [] { return 5; })), 5);
}

QTEST_GUILESS_MAIN(tst_WorkQueue)
#include "tst_WorkQueue.moc"
