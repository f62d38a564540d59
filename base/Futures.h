#pragma once

#include <QException>
#include <QFuture>
#include <QPromise>

/// Futures that carry no value: they are over, or they have failed with an exception.
namespace Futures {
/// The future of something that is done already. Qt's function for this has another name from 6.6
/// on.
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

/// Ends a promise that has been started as a failure.
inline void fail(QPromise<void> &promise, const QException &error)
{
    promise.setException(error);
    promise.finish();
}
} // namespace Futures
