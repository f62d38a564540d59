#pragma once

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

/// Receives the body of one address into a file, chunk by chunk. Lives on the thread whose event
/// loop it is given, and ends that loop when the body is complete or has failed.
class HttpReceiver final : public QObject
{
public:
    /// Told, not too often, how many bytes are written, and how many the server announced (-1 where
    /// it did not).
    using OnProgress = std::function<void(qint64 written, qint64 whole)>;

    HttpReceiver(QString folder, PartialFile &file, QEventLoop &loop, OnProgress onProgress);
    ~HttpReceiver() override;

    void start(const QUrl &url, std::chrono::milliseconds patience);

    /// Once the loop has ended by itself: why, unless the body is complete.
    [[nodiscard]] const std::optional<QString> &failure() const { return m_failure; }

private:
    void readHeaders();
    void readBody();
    [[nodiscard]] bool writeChunk();
    void report();
    void conclude();
    void end(std::optional<QString> failure);
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
    bool m_finished = false; ///< Nothing more comes from the network.
    bool m_ended = false;
    std::optional<QString> m_failure;
};
