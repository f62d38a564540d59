#pragma once

#include "models/Download.h"
#include "tests/support/Files.h"
#include "tests/support/HttpServer.h"

#include <QObject>
#include <QTemporaryDir>

#include <memory>

/// Downloads from a web server on loopback into an empty folder, for each test anew. Needs a
/// PrivateHome.
class DownloadFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

protected:
    static constexpr std::chrono::milliseconds timeout = std::chrono::seconds(30);

    /// Bytes without repetition, so that a missing, repeated or moved piece changes them.
    static QByteArray pattern(qsizetype size);

    QString path(const QString &name) const { return m_folder->filePath(name); }
    /// The names of everything in the folder.
    QStringList names() const { return Files::names(m_folder->path()); }
    /// The address of the answer.
    QUrl serving(const HttpServer::Answer &answer);
    void start(const QUrl &url, std::chrono::milliseconds wait = timeout);
    /// Until the download has ended.
    void finish(const QUrl &url, std::chrono::milliseconds wait = timeout);
    Download::Events events();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<Download> m_download;
    QList<double> m_progress;
    bool m_ended = false;
    std::optional<QString> m_failure;
};
