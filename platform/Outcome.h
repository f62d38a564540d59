#pragma once

#include "platform/PlatformError.h"

#include <QFuture>
#include <QPromise>

#include <optional>

/// Finishes the promise, with a PlatformError if there is a failure.
inline void settle(QPromise<void> &promise, const std::optional<QString> &failure)
{
    if (failure)
        promise.setException(PlatformError(*failure));
    promise.finish();
}

/// A finished future.
[[nodiscard]] inline QFuture<void> settled(const std::optional<QString> &failure)
{
    QPromise<void> promise;
    promise.start();
    settle(promise, failure);
    return promise.future();
}
