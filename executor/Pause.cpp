#include "executor/Pause.h"

#include <QCoro/QCoroFuture>
#include <QCoro/QCoroTimer>
#include <QFutureWatcher>
#include <QTimer>

#include <utility>

namespace {
Executor::PauseOverride::Replacement s_replacement;
}

QCoro::Task<void> Executor::pause(std::chrono::milliseconds duration,
                                  CancellationToken cancellation)
{
    if (s_replacement) {
        s_replacement(duration, cancellation);
        co_return;
    }
    if (cancellation && cancellation->isCancelled())
        co_return;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    if (cancellation) {
        QObject::connect(cancellation.get(), &Cancellation::cancelled, &timer,
                         [&timer] { timer.start(0); });
    }
    timer.start(duration);
    co_await timer;
}

QCoro::Task<void> Executor::completion(QFuture<void> work, CancellationToken cancellation)
{
    QTimer wake;
    wake.setSingleShot(true);
    QFutureWatcher<void> watcher;
    const auto end = [&wake] { wake.start(0); };
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &wake, end);
    watcher.setFuture(work);
    if (cancellation)
        QObject::connect(cancellation.get(), &Cancellation::cancelled, &wake, end);
    if (!work.isFinished() && !(cancellation && cancellation->isCancelled())) {
        wake.start(std::chrono::hours(1)); // longer than any operation takes
        co_await wake;
    }
    if (work.isFinished())
        co_await work;
}

Executor::PauseOverride::PauseOverride(Replacement replacement)
{
    Q_ASSERT(!s_replacement);
    s_replacement = std::move(replacement);
}

Executor::PauseOverride::~PauseOverride()
{
    s_replacement = nullptr;
}
