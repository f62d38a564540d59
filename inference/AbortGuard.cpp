#include "inference/AbortGuard.h"

#include "base/WorkerThread.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {
thread_local AbortGuard *innermost = nullptr;

// A lost call, and how many more of its threads may run into the same abort.
struct LostCall
{
    std::string message;
    int stragglers;
};

// Never destroyed: parked threads and the library's threads may outlive all static objects.
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

// Static variables are initialised on the main thread. Qt is not asked, since the library's threads
// may still call this while the process exits.
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
    // The call has returned although it was already reported as lost.
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

// Whether the calling thread computes for a lost call; marks that call as lost if it is not yet.
bool AbortGuard::isLost(const char *message)
{
    const std::scoped_lock guard(calls().lock);
    if (innermost != nullptr) {
        innermost->lose(message, innermost->m_threads - 1);
        return true;
    }
    // The main thread never computes. It is unknown for which call another thread computes: it may
    // be one more thread of a call that is lost already; otherwise all running calls count as lost,
    // and in this program that is one.
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
