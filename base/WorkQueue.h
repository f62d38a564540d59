#pragma once

#include <functional>
#include <memory>

/// One thread that runs jobs one at a time, in the order in which they were added. Uses standard
/// primitives only, which ThreadSanitizer can follow. Any thread may call it; its owner closes and
/// destroys it on one thread.
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

    /// Adds a job. A closed queue refuses it.
    void add(Job job);

    /// Refuses all waiting jobs, lets the running one finish, runs the last work, and returns when
    /// the thread has ended. Later calls do nothing.
    void close(std::function<void()> last = {});

    /// For a running job that will never return: refuses it, gives its thread up and continues with
    /// a new one. May be called from the thread that is given up. Does nothing if no job is
    /// running.
    void abandonRunningJob();

private:
    struct State;
    std::shared_ptr<State> m_state;
};
