#include "base/MainThread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>

#include <deque>
#include <mutex>
#include <utility>

namespace {
// The work waits in a queue under a standard mutex, and the event that announces it is empty: the
// mutex then makes the poster's writes visible to the main thread, and ThreadSanitizer, which does
// not see into Qt, can follow that.
class Mailbox final : public QObject
{
public:
    Mailbox() { moveToThread(QCoreApplication::instance()->thread()); }

    void post(std::function<void()> work)
    {
        {
            const std::scoped_lock guard(m_lock);
            m_waiting.push_back(std::move(work));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

protected:
    void customEvent(QEvent *) override
    {
        // One piece of work per event, so that other events are processed in between.
        std::function<void()> work;
        {
            const std::scoped_lock guard(m_lock);
            work = std::move(m_waiting.front());
            m_waiting.pop_front();
        }
        work();
    }

private:
    std::mutex m_lock;
    std::deque<std::function<void()>> m_waiting;
};
} // namespace

void MainThread::post(std::function<void()> work)
{
    // Never destroyed: threads may still post while the process ends.
    static auto *const mailbox = new Mailbox;
    mailbox->post(std::move(work));
}
