#pragma once

#include "base/MainThread.h"
#include "base/WorkQueue.h"
#include "inference/InferenceError.h"

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>
#include <variant>

/// Awaits a call on a work queue. Used by coroutines of the main thread, which are resumed there.
/// The outcome is the call's result or the InferenceError that it threw. Any other exception, and
/// an abandoned call, become the error given for that; a closed queue gives notLoaded. The call and
/// all that it captures are destroyed before the outcome arrives. A coroutine that is destroyed
/// while it waits is not resumed.
template <typename Result>
class QueuedCall
{
public:
    QueuedCall(WorkQueue &queue, std::function<Result()> call, InferenceError::Case otherwise)
        : m_queue(queue), m_otherwise(otherwise)
    {
        m_shared->call = std::move(call);
    }
    ~QueuedCall() { m_shared->waiter = nullptr; }
    // gcc 12 copies it in await_transform; no copy outlives the coroutine.
    QueuedCall(const QueuedCall &) = default;
    QueuedCall &operator=(const QueuedCall &) = delete;

    [[nodiscard]] bool await_ready() const noexcept { return false; }

    void await_suspend(std::coroutine_handle<> waiter)
    {
        m_shared->waiter = waiter;
        auto work = [shared = m_shared, call = std::exchange(m_shared->call, {}),
                     otherwise = m_otherwise]() mutable {
            Outcome outcome = perform(call, otherwise);
            call = {};
            settle(shared, std::move(outcome));
        };
        auto refuse = [shared = m_shared, otherwise = m_otherwise](WorkQueue::Refusal reason) {
            const bool isClosed = reason == WorkQueue::Refusal::closed;
            settle(shared, InferenceError(isClosed ? InferenceError::notLoaded : otherwise));
        };
        try {
            m_queue.add({std::move(work), std::move(refuse)});
        } catch (const std::system_error &) { // The system has no thread left.
            m_shared->waiter = nullptr;
            throw InferenceError(m_otherwise);
        }
    }

    Result await_resume()
    {
        if (const auto *error = std::get_if<InferenceError>(&m_shared->outcome))
            throw *error;
        return std::move(std::get<Result>(m_shared->outcome));
    }

private:
    struct None
    {
    };
    using Outcome = std::variant<None, Result, InferenceError>;

    struct Shared
    {
        std::mutex lock;
        Outcome outcome;
        // Used by the main thread only:
        std::function<Result()> call; // empty once it is queued
        std::coroutine_handle<> waiter;
    };

    static Outcome perform(const std::function<Result()> &call, InferenceError::Case otherwise)
    {
        try {
            return call();
        } catch (const InferenceError &error) {
            return error;
        } catch (...) {
            return InferenceError(otherwise);
        }
    }

    // The first outcome counts: an abandoned job is refused while it may still be running.
    static void settle(const std::shared_ptr<Shared> &shared, Outcome outcome)
    {
        {
            const std::scoped_lock guard(shared->lock);
            if (!std::holds_alternative<None>(shared->outcome))
                return;
            shared->outcome = std::move(outcome);
        }
        MainThread::post([shared] {
            if (const auto waiter = std::exchange(shared->waiter, nullptr))
                waiter.resume();
        });
    }

    WorkQueue &m_queue;
    InferenceError::Case m_otherwise;
    std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
};
