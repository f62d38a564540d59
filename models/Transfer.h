#pragma once

#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

class QEventLoop;

/// The work of a Download. It runs on one thread and is cancelled from another; each failure is one
/// sentence for the user.
class Transfer
{
public:
    using OnProgress = std::function<void(double fraction)>;

    Transfer(QUrl url, QString folder, std::chrono::milliseconds patience);

    /// Does it all on the calling thread, which needs no event loop yet: asks for the address,
    /// fills a file beside the destination, and puts it in place. Returns why it failed, or nothing
    /// when the file is in place or the transfer was cancelled. Once.
    [[nodiscard]] std::optional<QString> run(const OnProgress &onProgress);

    /// From any thread: run() comes to its end soon, and no file is put in place from now on.
    void cancel();
    /// From any thread: whether run() has come to its end.
    [[nodiscard]] bool isOver() const;

    /// The name of a file from this address: the last part of its path, or "model.gguf".
    [[nodiscard]] static QString fileName(const QUrl &url);

    /// How much of the whole that many bytes are, at most 1. Where the server does not tell the
    /// whole (zero or less), it is taken to be a thousand million bytes.
    [[nodiscard]] static double fraction(qint64 received, qint64 whole);

private:
    [[nodiscard]] std::optional<QString> receiveAndPlace(const OnProgress &onProgress);

    const QUrl m_url;
    const QString m_folder;
    const std::chrono::milliseconds m_patience;

    mutable std::mutex m_lock;
    bool m_cancelled = false;
    bool m_over = false;
    QEventLoop *m_loop = nullptr; ///< What a cancel ends, while there is one.
};
