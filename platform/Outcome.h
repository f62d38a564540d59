#pragma once

#include "platform/PlatformError.h"

#include <QFuture>
#include <QPromise>

#include <optional>

/// Ends the promise, as a failure where there is a sentence that says so.
inline void settle(QPromise<void> &promise, const std::optional<QString> &failure)
{
    if (failure)
        promise.setException(PlatformError(*failure));
    promise.finish();
}

/// The future of something that is over already.
[[nodiscard]] inline QFuture<void> settled(const std::optional<QString> &failure)
{
    QPromise<void> promise;
    promise.start();
    settle(promise, failure);
    return promise.future();
}
