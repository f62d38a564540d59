#include "base/BoundedWorker.h"

#include <system_error>

BoundedWorker::~BoundedWorker()
{
    if (!m_thread.joinable())
        return;
    bool stuck = false;
    {
        const std::scoped_lock guard(m_shared->lock);
        m_shared->ends = true;
        stuck = static_cast<bool>(m_shared->work);
    }
    m_shared->changed.notify_all();
    if (stuck)
        m_thread.detach();
    else
        m_thread.join();
}

// False if the system has no thread left.
bool BoundedWorker::start()
{
    try {
        m_thread = std::thread([shared = m_shared] {
            std::unique_lock guard(shared->lock);
            while (true) {
                shared->changed.wait(guard, [&] { return shared->work || shared->ends; });
                if (!shared->work)
                    return;
                guard.unlock();
                shared->work();
                guard.lock();
                shared->work = nullptr;
                shared->changed.notify_all();
            }
        });
        return true;
    } catch (const std::system_error &) {
        return false;
    }
}

bool BoundedWorker::perform(std::function<void()> work, std::chrono::milliseconds limit)
{
    if (!m_thread.joinable() && !start())
        return false;
    std::unique_lock guard(m_shared->lock);
    if (m_shared->work)
        return false;
    m_shared->work = std::move(work);
    m_shared->changed.notify_all();
    return m_shared->changed.wait_for(guard, limit, [this] { return !m_shared->work; });
}
