#include "base/WorkQueue.h"

#include "base/WorkerThread.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace {
void refuse(const WorkQueue::Job &job, WorkQueue::Refusal reason)
{
    if (job.refuse)
        job.refuse(reason);
}
} // namespace

// Shared with the threads: one that was given up may still use it after the queue is destroyed.
struct WorkQueue::State : std::enable_shared_from_this<State>
{
    explicit State(const char *threadName) : name(threadName) {}

    [[nodiscard]] bool isIdle() const { return !running && waiting.empty(); }

    unsigned push(Job job)
    {
        if (!thread.joinable())
            startThread();
        waiting.push_back(std::move(job));
        changed.notify_all();
        return ++added;
    }

    void startThread()
    {
        thread = std::thread([self = shared_from_this(), number = ++threadNumber] {
            WorkerThread::begin(self->name.c_str());
            self->work(number);
        });
    }

    void work(unsigned number)
    {
        std::unique_lock guard(lock);
        while (true) {
            changed.wait(guard, [&] { return closed || !waiting.empty(); });
            if (waiting.empty())
                break;
            runOne(guard, number);
        }
        ended = true;
        changed.notify_all();
    }

    void runOne(std::unique_lock<std::mutex> &guard, unsigned number)
    {
        Job job = std::move(waiting.front());
        waiting.pop_front();
        running = std::move(job.refuse);
        guard.unlock();
        job.work();
        job = {}; // unlocked: destroys what the work holds, which may call back
        guard.lock();
        if (number != threadNumber) {
            // Given up while the job ran: another thread has taken over, and this one may still use
            // what the job broke.
            guard.unlock();
            WorkerThread::park();
        }
        finishRunning();
    }

    void finishRunning()
    {
        running.reset();
        isOverdue = false;
        ++finished;
        changed.notify_all();
    }

    const std::string name;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Job> waiting;
    std::optional<std::function<void(Refusal)>> running; // refuses the running job
    unsigned added = 0;
    unsigned finished = 0;
    bool isOverdue = false; // the caller of the running job has stopped waiting for it
    bool closed = false;
    bool ended = false;
    unsigned threadNumber = 0;
    std::thread thread;
};

WorkQueue::WorkQueue(const char *name) : m_state(std::make_shared<State>(name)) {}

WorkQueue::~WorkQueue()
{
    close();
}

void WorkQueue::add(Job job)
{
    {
        const std::scoped_lock guard(m_state->lock);
        if (!m_state->closed) {
            m_state->push(std::move(job));
            return;
        }
    }
    refuse(job, Refusal::closed);
}

void WorkQueue::close(std::function<void()> last)
{
    std::deque<Job> dropped;
    std::unique_lock guard(m_state->lock);
    if (m_state->closed)
        return;
    m_state->closed = true;
    dropped.swap(m_state->waiting);
    // An overdue call may not have begun yet. It is run in any case, since its caller cannot tell.
    if (m_state->isOverdue && !m_state->running) {
        m_state->waiting.push_back(std::move(dropped.front()));
        dropped.pop_front();
    }
    if (last && m_state->thread.joinable())
        m_state->push({std::exchange(last, {})});
    m_state->changed.notify_all();

    guard.unlock();
    if (last)
        last();
    for (const Job &job : dropped)
        refuse(job, Refusal::closed);
    dropped.clear();

    // join() alone is not enough: the thread may be given up and replaced meanwhile.
    guard.lock();
    if (!m_state->thread.joinable())
        return;
    m_state->changed.wait(guard, [&] { return m_state->ended || m_state->isOverdue; });
    if (!m_state->ended) {
        m_state->thread.detach();
        return;
    }
    guard.unlock();
    m_state->thread.join();
}

bool WorkQueue::perform(std::function<void()> work, std::chrono::milliseconds limit)
{
    const std::shared_ptr<State> state = m_state;
    std::unique_lock guard(state->lock);
    if (state->closed || !state->isIdle())
        return false;
    unsigned number = 0;
    try {
        number = state->push({std::move(work)});
    } catch (const std::system_error &) {
        return false;
    }
    if (state->changed.wait_for(guard, limit, [&] { return state->finished >= number; }))
        return true;
    state->isOverdue = true;
    return false;
}

void WorkQueue::abandonRunningJob()
{
    const std::shared_ptr<State> state = m_state;
    std::optional<std::function<void(Refusal)>> lost;
    {
        const std::scoped_lock guard(state->lock);
        lost.swap(state->running);
        if (!lost)
            return;
        state->thread.detach();
        state->isOverdue = false;
        ++state->finished;
        state->changed.notify_all();
        state->startThread();
    }
    if (*lost)
        (*lost)(Refusal::abandoned);
}
