#pragma once

#include <QException>
#include <QFuture>
#include <QPromise>

/// Futures without a value, which are finished or have failed with an exception.
namespace Futures {
/// A finished future. Qt 6.6 has renamed its function for this.
[[nodiscard]] inline QFuture<void> done()
{
    QPromise<void> promise;
    promise.start();
    promise.finish();
    return promise.future();
}

[[nodiscard]] inline QFuture<void> failed(const QException &error)
{
    return QtFuture::makeExceptionalFuture<void>(error);
}

/// Finishes a started promise with a failure.
inline void fail(QPromise<void> &promise, const QException &error)
{
    promise.setException(error);
    promise.finish();
}
} // namespace Futures
