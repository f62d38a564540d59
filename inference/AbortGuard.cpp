#include "inference/AbortGuard.h"

#include "base/WorkerThread.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {
thread_local AbortGuard *innermost = nullptr;

// A call that was lost, and how many of its threads may yet come upon what one of them came upon.
struct LostCall
{
    std::string message;
    int stragglers;
};

// Never destroyed: parked threads and those of the library may outlive everything else.
struct Calls
{
    std::mutex lock;
    std::vector<AbortGuard *> computing;
    std::vector<LostCall> lost;
};

Calls &calls()
{
    static auto *const instance = new Calls;
    return *instance;
}

// Static variables are made on the main thread. Qt is not asked, since threads of the library may
// still come here while the process ends.
const std::thread::id mainThread = std::this_thread::get_id();
} // namespace

AbortGuard::AbortGuard() noexcept : m_outer(innermost)
{
    innermost = this;
}

AbortGuard::AbortGuard(const std::function<void()> &lost, int threads)
    : m_outer(innermost), m_lost(&lost), m_threads(threads)
{
    const std::scoped_lock guard(calls().lock);
    calls().computing.push_back(this);
    innermost = this;
}

AbortGuard::~AbortGuard()
{
    innermost = m_outer;
    if (m_lost == nullptr)
        return;
    {
        const std::scoped_lock guard(calls().lock);
        std::erase(calls().computing, this);
    }
    // The call came back although one of its threads did not: too late, it has been reported lost.
    if (m_isLost)
        WorkerThread::park();
}

void AbortGuard::onAbort(const char *message)
{
    if (innermost != nullptr && innermost->m_lost == nullptr)
        throw LibraryAbort(message);
    if (isLost(message))
        WorkerThread::park();
    std::fprintf(stderr, "%s\n", message);
}

// Whether the calling thread computes for a call that is lost now, or was before.
bool AbortGuard::isLost(const char *message)
{
    const std::scoped_lock guard(calls().lock);
    if (innermost != nullptr) {
        innermost->lose(message, innermost->m_threads - 1);
        return true;
    }
    // The main thread computes nothing. Which call any other thread computes for cannot be seen
    // from here: first come the stragglers of a lost one, then all that compute count as lost, and
    // in this program that is one.
    if (std::this_thread::get_id() == mainThread)
        return false;
    if (isStraggler(message))
        return true;
    const std::vector<AbortGuard *> computing = calls().computing;
    for (AbortGuard *each : computing)
        each->lose(message, each->m_threads - 2);
    return !computing.empty();
}

bool AbortGuard::isStraggler(const char *message)
{
    for (LostCall &call : calls().lost) {
        const bool isItsOwn = call.message == message || calls().computing.empty();
        if (call.stragglers > 0 && isItsOwn) {
            --call.stragglers;
            return true;
        }
    }
    return false;
}

void AbortGuard::lose(const char *message, int stragglers)
{
    if (m_isLost)
        return;
    m_isLost = true;
    std::erase(calls().computing, this);
    calls().lost.push_back({message, stragglers});
    (*m_lost)();
}
