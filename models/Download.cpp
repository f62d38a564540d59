#include "models/Download.h"

#include "base/MainThread.h"
#include "models/Transfer.h"

#include <utility>

Download::Download(const QUrl &url, const QString &folder, std::chrono::milliseconds timeout,
                   Events events)
    : m_events(std::make_shared<Events>(std::move(events)))
    , m_transfer(std::make_shared<Transfer>(url, folder, timeout))
{
    const std::weak_ptr<Events> listener = m_events;
    m_queue.add({[transfer = m_transfer, listener] {
        try {
            transfer->run([&listener](double fraction) {
                MainThread::post([listener, fraction] {
                    if (const auto alive = listener.lock())
                        alive->progress(fraction);
                });
            });
            MainThread::post([listener] {
                if (const auto alive = listener.lock())
                    alive->done();
            });
        } catch (const TransferError &error) {
            MainThread::post([listener, error] {
                if (const auto alive = listener.lock())
                    alive->failed(error);
            });
        }
    }});
}

Download::~Download()
{
    cancel();
    m_queue.close();
}

void Download::cancel()
{
    m_events.reset();
    m_transfer->cancel();
}

bool Download::isOver() const
{
    return m_transfer->isOver();
}
