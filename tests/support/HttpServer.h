#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <memory>

class QTcpServer;
class QTcpSocket;

/// A web server on loopback that answers as a test requires, also incorrectly. Uses the event loop
/// of the thread that creates it.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    /// How the end of a body is recognised.
    enum class Framing { length, chunked, close };

    struct Answer
    {
        int status = 200;
        QByteArray body = {};
        qint64 size = -1; ///< Repeats the body up to this many bytes; -1: once.
        Framing framing = Framing::length;
        QList<QByteArray> headers = {};
        qint64 cutAfter = -1;  ///< Closes the connection after this many bytes of the body.
        qint64 holdAfter = -1; ///< Pauses there, until release().
        int dripInterval = 0;  ///< Milliseconds between single bytes, if above zero.
        bool isSilent = false; ///< Sends no answer.
    };

    struct Request
    {
        QByteArray method;
        QByteArray path;
        QByteArray head; ///< All lines of the head.
    };

    HttpServer();
    /// Over TLS, with a certificate and its key in PEM.
    explicit HttpServer(const QSslConfiguration &tls);
    ~HttpServer() override;

    /// Sets the answer for a path; all other paths get 404.
    void setAnswer(const QString &path, const Answer &answer) { m_answers[path] = answer; }
    /// Continues the answers that wait at holdAfter.
    void release();

    [[nodiscard]] QUrl url(const QString &path) const;
    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }
    /// How many bytes the system has taken so far for all clients.
    [[nodiscard]] qint64 bytesSent() const { return m_bytesSent; }
    /// The number of open connections.
    [[nodiscard]] qsizetype connections() const;

    /// An address on loopback that refuses connections.
    [[nodiscard]] static QUrl closedUrl(const QString &path);

    /// A redirect to the address.
    [[nodiscard]] static Answer redirect(const QUrl &place, int status = 302);

Q_SIGNALS:
    void released();

private:
    class Connection;

    explicit HttpServer(std::unique_ptr<QTcpServer> server, QString scheme);

    std::unique_ptr<QTcpServer> m_server;
    const QString m_scheme;
    QHash<QString, Answer> m_answers;
    QList<Request> m_requests;
    qint64 m_bytesSent = 0;
};
