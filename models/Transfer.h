#pragma once

#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <mutex>

class QEventLoop;

/// The work of a Download: blocking, runs on one thread and can be cancelled from another.
class Transfer
{
public:
    using OnProgress = std::function<void(double fraction)>;

    Transfer(QUrl url, QString folder, std::chrono::milliseconds timeout);

    /// Requests the address, writes the body to a file beside the destination, and moves that file
    /// there. Blocks; runs an event loop of its own. Returns if the file is in place or the
    /// transfer was cancelled, and throws a TransferError if it failed. May be called once.
    void run(const OnProgress &onProgress);

    /// Thread-safe: run() returns soon, and the destination does not change any more.
    void cancel();
    /// Thread-safe: whether run() has finished.
    [[nodiscard]] bool isOver() const;

    /// The file name for an address: the last part of its path, or "model.gguf".
    [[nodiscard]] static QString fileName(const QUrl &url);

    /// The received fraction, at most 1. If the server does not tell the length (zero or less), it
    /// is assumed to be a thousand million bytes.
    [[nodiscard]] static double fraction(qint64 received, qint64 whole);

private:
    void receiveAndPlace(const OnProgress &onProgress);

    const QUrl m_url;
    const QString m_folder;
    const std::chrono::milliseconds m_timeout;

    mutable std::mutex m_lock;
    bool m_cancelled = false;
    bool m_over = false;
    QEventLoop *m_loop = nullptr; ///< The running loop, for cancel().
};
