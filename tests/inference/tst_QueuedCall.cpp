#include "inference/QueuedCall.h"

#include "inference/AbortGuard.h"
#include "tests/support/Awaited.h"
#include "tests/support/HeldJob.h"

#include <QCoro/QCoroTask>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <optional>

class tst_QueuedCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultsArriveOnTheMainThread();
    void errorsArriveAsErrors_data();
    void errorsArriveAsErrors();
    void theCallIsDestroyedBeforeItsResultArrives();
    void aCallIsRefusedWhenTheQueueIsDestroyed();
    void aDestroyedCoroutineIsNotResumed();
    void abortsAreThrownInAGuard();
    void abortsOnTheLibrarysThreadsAbandonTheCall();
};

namespace {
QCoro::Task<int> ask(WorkQueue &queue, std::function<int()> call)
{
    QueuedCall<int> queued(queue, std::move(call), InferenceError::decodeFailed);
    co_return co_await queued;
}

// A coroutine whose owner may destroy it at any time, unlike those of QCoro.
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

void tst_QueuedCall::resultsArriveOnTheMainThread()
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

void tst_QueuedCall::errorsArriveAsErrors_data()
{
    QTest::addColumn<bool>("ofItsOwn");
    QTest::addColumn<int>("expected");

    QTest::newRow("an inference error") << true << int(InferenceError::tokenizeFailed);
    QTest::newRow("anything else") << false << int(InferenceError::decodeFailed);
}

void tst_QueuedCall::errorsArriveAsErrors()
{
    QFETCH(const bool, ofItsOwn);
    QFETCH(const int, expected);

    WorkQueue queue("test.queue");
    const auto error = awaited(ask(queue, [&]() -> int {
                           if (ofItsOwn)
                               throw InferenceError(InferenceError::tokenizeFailed);
                           throw std::bad_alloc();
                       })).error;
    QVERIFY(error == InferenceError(InferenceError::Case(expected)));
}

void tst_QueuedCall::theCallIsDestroyedBeforeItsResultArrives()
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

void tst_QueuedCall::aCallIsRefusedWhenTheQueueIsDestroyed()
{
    auto queue = std::make_unique<WorkQueue>("test.queue");
    HeldJob gate;
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
    // The coroutine ends whether the job ran or was dropped.
    QCoro::waitFor(task);
    QVERIFY(!error || error == InferenceError(InferenceError::notLoaded));
}

void tst_QueuedCall::aDestroyedCoroutineIsNotResumed()
{
    WorkQueue queue("test.queue");
    HeldJob gate;
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

void tst_QueuedCall::abortsAreThrownInAGuard()
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

void tst_QueuedCall::abortsOnTheLibrarysThreadsAbandonTheCall()
{
    WorkQueue queue("test.queue");
    std::atomic<int> losses = 0;
    const auto computing = [&] {
        const std::function<void()> lost = [&] {
            ++losses;
            queue.abandonRunningJob();
        };
        const AbortGuard outer;
        const AbortGuard guard(lost, 4);
        // The library's threads and the calling thread run into the same failed assertion.
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

QTEST_GUILESS_MAIN(tst_QueuedCall)
#include "tst_QueuedCall.moc"
