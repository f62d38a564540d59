#include "executor/Pause.h"

#include <QCoro/QCoroTimer>
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

Executor::PauseOverride::PauseOverride(Replacement replacement)
{
    Q_ASSERT(!s_replacement);
    s_replacement = std::move(replacement);
}

Executor::PauseOverride::~PauseOverride()
{
    s_replacement = nullptr;
}
