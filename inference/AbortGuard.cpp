#include "inference/AbortGuard.h"

#include "inference/Park.h"

#include <QCoreApplication>
#include <QThread>

#include <cstdio>
#include <mutex>
#include <vector>

namespace {
thread_local AbortGuard *innermost = nullptr;

// The guards whose calls may abort on a thread of the library. Never destroyed: parked threads and
// those of the library may outlive everything else.
struct ComputingGuards
{
    std::mutex lock;
    std::vector<AbortGuard *> guards;
};

ComputingGuards &computing()
{
    static auto *const instance = new ComputingGuards;
    return *instance;
}

bool onMainThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return application != nullptr && QThread::currentThread() == application->thread();
}
} // namespace

AbortGuard::AbortGuard() noexcept : m_outer(innermost)
{
    innermost = this;
}

AbortGuard::AbortGuard(const std::function<void()> &lost) : m_outer(innermost), m_lost(&lost)
{
    const std::scoped_lock guard(computing().lock);
    computing().guards.push_back(this);
    innermost = this;
}

AbortGuard::~AbortGuard()
{
    innermost = m_outer;
    if (m_lost == nullptr)
        return;
    {
        const std::scoped_lock guard(computing().lock);
        std::erase(computing().guards, this);
    }
    // The call came back although one of its threads did not: too late, it has been reported lost.
    if (m_isLost)
        parkForEver();
}

void AbortGuard::loseOnce()
{
    if (!m_isLost) {
        m_isLost = true;
        (*m_lost)();
    }
}

bool AbortGuard::loseAll()
{
    const std::scoped_lock guard(computing().lock);
    for (AbortGuard *each : computing().guards)
        each->loseOnce();
    return !computing().guards.empty();
}

void AbortGuard::onAbort(const char *message)
{
    if (innermost != nullptr && innermost->m_lost == nullptr)
        throw LibraryAbort(message);

    // Which call a thread of the library computes for cannot be seen from here. The main thread
    // makes no such calls; for any other, all that compute count as lost, and in this program that
    // is one.
    if ((innermost != nullptr || !onMainThread()) && loseAll())
        parkForEver();

    std::fprintf(stderr, "%s\n", message);
}
