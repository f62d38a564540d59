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

/// A web server on loopback that behaves, or misbehaves, as a test asks. It works on the event loop
/// of the thread that makes it.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    /// How the end of a body is marked.
    enum class Framing { length, chunked, close };

    struct Answer
    {
        int status = 200;
        QByteArray body = {};
        qint64 size = -1; ///< The body is repeated up to this many bytes; -1: once.
        Framing framing = Framing::length;
        QList<QByteArray> headers = {};
        qint64 cutAfter = -1;  ///< Closes the connection after this many bytes of the body.
        qint64 holdAfter = -1; ///< Pauses there, until release().
        int dripInterval = 0;  ///< Milliseconds between single bytes, where above zero.
        bool isSilent = false; ///< Takes the request and says nothing.
    };

    struct Request
    {
        QByteArray method;
        QByteArray path;
        QByteArray head; ///< All its lines.
    };

    HttpServer();
    /// Over TLS, with a certificate and its key in PEM.
    explicit HttpServer(const QSslConfiguration &tls);
    ~HttpServer() override;

    /// What is answered from now on at the path; 404 at all others.
    void setAnswer(const QString &path, const Answer &answer) { m_answers[path] = answer; }
    /// Lets the answers go on that wait where they were told to hold.
    void release();

    [[nodiscard]] QUrl url(const QString &path) const;
    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }
    /// Connections that are open now.
    [[nodiscard]] qsizetype connections() const;

    /// An address on loopback where nobody listens.
    [[nodiscard]] static QUrl closedUrl(const QString &path);

    /// "HTTP/1.1 302" and the place.
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
};
