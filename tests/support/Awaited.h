#pragma once

#include "inference/InferenceError.h"

#include <QCoro/QCoroTask>

#include <optional>

/// The outcome of a task: its value or its error.
template <typename T>
struct Awaited
{
    std::optional<T> value;
    std::optional<InferenceError> error;
};

/// Runs the event loop until the task has ended. QCoro's waitFor() does not pass exceptions on.
template <typename T>
Awaited<T> awaited(QCoro::Task<T> task)
{
    Awaited<T> result;
    const auto finish = [](QCoro::Task<T> unfinished, Awaited<T> &outcome) -> QCoro::Task<> {
        try {
            outcome.value = co_await unfinished;
        } catch (const InferenceError &error) {
            outcome.error = error;
        }
    };
    QCoro::waitFor(finish(std::move(task), result));
    return result;
}

/// The same for a task without a value: its error, if it has one.
inline std::optional<InferenceError> awaitedError(QCoro::Task<> task)
{
    std::optional<InferenceError> result;
    const auto finish = [](QCoro::Task<> unfinished,
                           std::optional<InferenceError> &outcome) -> QCoro::Task<> {
        try {
            co_await unfinished;
        } catch (const InferenceError &error) {
            outcome = error;
        }
    };
    QCoro::waitFor(finish(std::move(task), result));
    return result;
}
