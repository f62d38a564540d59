#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

/// One thread that runs jobs one at a time, in the order in which they were added. The first job
/// starts the thread. Uses standard primitives only, which ThreadSanitizer can follow. Any thread
/// may call it; its owner closes and destroys it on one thread.
class WorkQueue
{
public:
    enum class Refusal {
        closed,    ///< The queue takes no more jobs.
        abandoned, ///< The job was started and will never return.
    };

    struct Job
    {
        /// Runs on the queue's thread. Must not throw.
        std::function<void()> work;
        /// Called on any thread, instead of the work or if the work will never return; may be
        /// empty.
        std::function<void(Refusal)> refuse = {};
    };

    /// The thread gets the name.
    explicit WorkQueue(const char *name);
    ~WorkQueue();
    WorkQueue(const WorkQueue &) = delete;
    WorkQueue &operator=(const WorkQueue &) = delete;

    /// Adds a job. A closed queue refuses it. Throws std::system_error if the system has no thread
    /// left.
    void add(Job job);

    /// Runs work that may never return, such as a request to a server that hangs, and waits for its
    /// result. Returns nothing after the timeout; returns nothing at once if the queue has other
    /// work, which may be an overdue call, or if the system has no thread left. The work may
    /// outlive the call and the queue, so it must own what it uses. It must not throw.
    template <typename Work>
    [[nodiscard]] auto call(Work work, std::chrono::milliseconds limit)
        -> std::optional<decltype(work())>
    {
        using Result = std::optional<decltype(work())>;
        const auto result = std::make_shared<Result>();
        if (!perform([work = std::move(work), result] { *result = work(); }, limit))
            return std::nullopt;
        return std::move(*result);
    }

    /// Refuses all waiting jobs, lets the running one finish, runs the last work, and returns when
    /// the thread has ended. Does not wait for an overdue call. Without a thread, the last work
    /// runs on the calling one. Later calls do nothing.
    void close(std::function<void()> last = {});

    /// For a running job that will never return: refuses it, gives its thread up and continues with
    /// a new one. May be called from the thread that is given up. Does nothing if no job is
    /// running.
    void abandonRunningJob();

private:
    struct State;

    [[nodiscard]] bool perform(std::function<void()> work, std::chrono::milliseconds limit);

    std::shared_ptr<State> m_state;
};
