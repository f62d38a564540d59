#pragma once

#include "base/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QFuture>

#include <chrono>
#include <functional>

namespace Executor {
/// How long a newly opened application gets to settle.
constexpr std::chrono::milliseconds launchSettle{700};
/// How long a browser gets to show an address.
constexpr std::chrono::milliseconds pageSettle{1200};
/// How long an application gets to end before we look whether it did.
constexpr std::chrono::milliseconds quitGrace{600};

/// Lets the time pass while the event loop runs. A cancellation ends the wait early, or keeps it
/// from starting; what was waited for goes on all the same.
[[nodiscard]] QCoro::Task<void> pause(std::chrono::milliseconds duration,
                                      CancellationToken cancellation);

/// Waits until the platform has done what it was asked, and passes its failure on. A cancellation
/// ends the wait early; what was asked for goes on all the same.
[[nodiscard]] QCoro::Task<void> completion(QFuture<void> work, CancellationToken cancellation);

/// Puts another way of waiting in place of pause for as long as it lives. For tests; not nested.
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
