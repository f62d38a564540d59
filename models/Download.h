#pragma once

#include "base/WorkQueue.h"
#include "models/TransferError.h"

#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>

class Transfer;

/// Transfers one address to one file; starts when it is constructed. Network and disk are used on a
/// thread of its own. The object lives on the main thread, which also receives the events. The body
/// is written to a file beside the destination, which replaces the destination once it is complete;
/// until then an older file there is unchanged.
class Download
{
public:
    struct Events
    {
        /// The received fraction, from 0 to 1.
        std::function<void(double fraction)> progress;
        /// The last event is one of these two. The download may be destroyed in this call.
        /// The file is in place.
        std::function<void()> done;
        std::function<void(const TransferError &error)> failed;
    };

    /// The transfer fails if nothing is received for as long as the timeout. Throws
    /// std::system_error if the system has no thread left.
    Download(const QUrl &url, const QString &folder, std::chrono::milliseconds timeout,
             Events events);
    /// Cancels the transfer and waits for its thread.
    ~Download();
    Download(const Download &) = delete;
    Download &operator=(const Download &) = delete;

    /// Cancels the transfer without waiting: there are no more events, and the destination does not
    /// change. The thread removes the incomplete file.
    void cancel();

    /// Whether the thread has finished its work, so that the destructor does not block.
    [[nodiscard]] bool isOver() const;

private:
    std::shared_ptr<Events> m_events; ///< Null once cancelled.
    std::shared_ptr<Transfer> m_transfer;
    WorkQueue m_queue{"download"};
};
