#pragma once

#include <functional>
#include <memory>

/// One thread that does jobs one at a time, in the order in which they were added. Made of standard
/// primitives only. Any thread may call it; whoever owns it closes or destroys it on one thread.
class WorkQueue
{
public:
    enum class Refusal {
        closed,    ///< The queue takes no more jobs.
        abandoned, ///< The job ran and will never return.
    };

    struct Job
    {
        /// Runs on the queue's thread. Must not throw.
        std::function<void()> work;
        /// Called, on any thread, instead of the work or if it will never return; may be empty.
        std::function<void(Refusal)> refuse = {};
    };

    /// The name is the thread's.
    explicit WorkQueue(const char *name);
    ~WorkQueue();
    WorkQueue(const WorkQueue &) = delete;
    WorkQueue &operator=(const WorkQueue &) = delete;

    /// Adds a job; a closed queue refuses it.
    void add(Job job);

    /// Refuses all jobs that wait, lets the running one end, runs the last work, and returns when
    /// the thread has ended. Later calls do nothing.
    void close(std::function<void()> last = {});

    /// For a running job that will never return: refuses it, leaves its thread to itself for ever
    /// and goes on with a new one. The calling thread may be the lost one. Does nothing without a
    /// running job.
    void abandonRunningJob();

private:
    struct State;
    std::shared_ptr<State> m_state;
};
