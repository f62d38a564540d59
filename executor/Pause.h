#pragma once

#include "base/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QFuture>

#include <chrono>
#include <functional>

namespace Executor {
/// How long a newly opened application may take until it is ready for input.
constexpr std::chrono::milliseconds launchSettle{700};
/// How long a browser may take to show an address.
constexpr std::chrono::milliseconds pageSettle{1200};
/// How long an application may take to quit before we check whether it did.
constexpr std::chrono::milliseconds quitGrace{600};

/// Waits while the event loop runs. A cancellation ends the wait, or keeps it from starting.
[[nodiscard]] QCoro::Task<void> pause(std::chrono::milliseconds duration,
                                      CancellationToken cancellation);

/// Waits until the platform's operation has finished, and rethrows its failure. A cancellation ends
/// the wait early; the operation itself continues.
[[nodiscard]] QCoro::Task<void> completion(QFuture<void> work, CancellationToken cancellation);

/// Replaces pause() with another function while it exists. For tests; not nested.
class PauseOverride
{
public:
    using Replacement = std::function<void(std::chrono::milliseconds, const CancellationToken &)>;

    explicit PauseOverride(Replacement replacement);
    ~PauseOverride();
    PauseOverride(const PauseOverride &) = delete;
    PauseOverride &operator=(const PauseOverride &) = delete;
};
} // namespace Executor
