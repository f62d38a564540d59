#pragma once

#include "models/TransferError.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class PartialFile;
class QEventLoop;
class QNetworkReply;

/// Downloads the body of one address into a file, chunk by chunk. Lives on the thread of the given
/// event loop and quits that loop when the body is complete or the transfer has failed.
class HttpReceiver final : public QObject
{
public:
    /// Called at intervals with the bytes written so far and the length that the server announced,
    /// or -1 if it did not announce any.
    using OnProgress = std::function<void(qint64 written, qint64 whole)>;

    HttpReceiver(QString folder, PartialFile &file, QEventLoop &loop, OnProgress onProgress);
    ~HttpReceiver() override;

    void start(const QUrl &url, std::chrono::milliseconds timeout);

    /// After the loop has quit: returns if the body is complete, and throws a TransferError if not.
    void check() const;

private:
    void readHeaders();
    void readBody();
    void writeChunk();
    void report();
    void conclude();
    void fail(const QString &sentence);
    void end();
    [[nodiscard]] int httpStatus() const;
    [[nodiscard]] qint64 announcedLength() const;

    const QString m_folder;
    PartialFile &m_file;
    QEventLoop &m_loop;
    const OnProgress m_onProgress;
    QNetworkAccessManager m_network;
    std::unique_ptr<QNetworkReply> m_reply;
    QTimer m_stall;
    QTimer m_nextReport;
    std::vector<char> m_chunk;
    qint64 m_written = 0;
    bool m_finished = false; ///< The network has delivered everything.
    bool m_ended = false;
    std::optional<TransferError> m_failure;
};
