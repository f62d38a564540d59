#pragma once

#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

class Transfer;

/// One transfer of one address to one file, from its construction on. The network and the disk are
/// worked on a thread of its own; the object is made, asked and destroyed on the main thread, where
/// the events come too. The body goes to a file beside its destination, which is moved into place
/// once it is complete; until then an older file there stays as it is.
class Download
{
public:
    struct Events
    {
        /// How much of the whole has come, 0 to 1.
        std::function<void(double fraction)> progress;
        /// The last event: one sentence why the transfer failed, or nothing when the file is in
        /// place. The download may be destroyed here.
        std::function<void(const std::optional<QString> &failure)> end;
    };

    /// The transfer has failed when nothing came for as long as the patience. Throws
    /// std::system_error where the system has no thread left.
    Download(const QUrl &url, const QString &folder, std::chrono::milliseconds patience,
             Events events);
    /// Cancels, and waits until nothing of the transfer is left.
    ~Download();
    Download(const Download &) = delete;
    Download &operator=(const Download &) = delete;

    /// Ends the transfer without a word and without waiting: from now on no event comes and no file
    /// is put in place. The thread tidies up behind it.
    void cancel();

    /// Whether the thread has nothing left to do, so that destroying the download costs no time.
    [[nodiscard]] bool isOver() const;

private:
    std::shared_ptr<Events> m_events; ///< None once cancelled.
    std::shared_ptr<Transfer> m_transfer;
    std::thread m_thread;
};
