#include "tests/support/HttpServer.h"

#include <QHostAddress>
#include <QSslServer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 writeAhead = qint64{1024} * 1024;
constexpr qint64 chunkSize = qint64{64} * 1024;

std::unique_ptr<QTcpServer> tlsServer(const QSslConfiguration &tls)
{
    auto server = std::make_unique<QSslServer>();
    server->setSslConfiguration(tls);
    return server;
}
} // namespace

/// One connection: reads requests one after the other and writes the answers.
class HttpServer::Connection : public QObject
{
public:
    Connection(HttpServer &server, QTcpSocket *socket)
        : QObject(socket), m_server(server), m_socket(socket)
    {
        connect(socket, &QTcpSocket::readyRead, this, &Connection::readRequest);
        connect(socket, &QTcpSocket::bytesWritten, this, [this](qint64 bytes) {
            m_server.m_bytesSent += bytes;
            writeBody();
        });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(&server, &HttpServer::released, this, [this] {
            m_answer.holdAfter = -1;
            writeBody();
        });
        connect(&m_drip, &QTimer::timeout, this, &Connection::writeBody);
        readRequest();
    }

private:
    void readRequest()
    {
        m_head += m_socket->readAll();
        const qsizetype end = m_head.indexOf("\r\n\r\n");
        if (end < 0 || m_isAnswering)
            return;
        const QByteArray head = m_head.left(end + 2);
        m_head.remove(0, end + 4);
        const QList<QByteArray> words = head.left(head.indexOf('\r')).split(' ');
        m_server.m_requests.append({words.value(0), words.value(1), head});
        const QString path = QString::fromUtf8(words.value(1));
        Answer missing;
        missing.status = 404;
        missing.body = "Nothing here";
        m_answer = m_server.m_answers.value(path, missing);
        if (m_answer.size < 0)
            m_answer.size = m_answer.body.size();
        m_isAnswering = !m_answer.isSilent;
        m_sent = 0;
        if (m_isAnswering)
            writeHead();
    }

    void writeHead()
    {
        QByteArray head = "HTTP/1.1 " + QByteArray::number(m_answer.status) + " Whatever\r\n";
        for (const QByteArray &header : std::as_const(m_answer.headers))
            head += header + "\r\n";
        if (m_answer.framing == Framing::length)
            head += "Content-Length: " + QByteArray::number(m_answer.size) + "\r\n";
        else if (m_answer.framing == Framing::chunked)
            head += "Transfer-Encoding: chunked\r\n";
        else
            head += "Connection: close\r\n";
        m_socket->write(head + "\r\n");
        if (m_answer.dripInterval > 0)
            m_drip.start(m_answer.dripInterval);
        writeBody();
    }

    void writeBody()
    {
        if (!m_isAnswering)
            return;
        qint64 end = m_answer.size;
        for (const qint64 stop : {m_answer.cutAfter, m_answer.holdAfter}) {
            if (stop >= 0)
                end = std::min(end, stop);
        }
        if (m_answer.dripInterval > 0)
            end = sender() == &m_drip ? std::min(end, m_sent + 1) : m_sent;
        while (m_sent < end && m_socket->bytesToWrite() < writeAhead) {
            const qint64 from = m_sent % m_answer.body.size();
            const qint64 size = std::min({end - m_sent, chunkSize, m_answer.body.size() - from});
            writePiece(m_answer.body.mid(from, size));
            m_sent += size;
        }
        if (m_sent == m_answer.cutAfter)
            m_socket->disconnectFromHost();
        else if (m_sent == m_answer.size && m_answer.holdAfter < 0)
            finish();
    }

    void writePiece(const QByteArray &piece)
    {
        if (m_answer.framing == Framing::chunked)
            m_socket->write(QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n");
        else
            m_socket->write(piece);
    }

    void finish()
    {
        m_isAnswering = false;
        m_drip.stop();
        if (m_answer.framing == Framing::chunked)
            m_socket->write("0\r\n\r\n");
        if (m_answer.framing == Framing::close)
            m_socket->disconnectFromHost();
        else
            readRequest();
    }

    HttpServer &m_server;
    QTcpSocket *const m_socket;
    QByteArray m_head;
    Answer m_answer;
    QTimer m_drip;
    qint64 m_sent = 0;
    bool m_isAnswering = false;
};

HttpServer::HttpServer() : HttpServer(std::make_unique<QTcpServer>(), u"http"_s) {}

HttpServer::HttpServer(const QSslConfiguration &tls) : HttpServer(tlsServer(tls), u"https"_s) {}

HttpServer::HttpServer(std::unique_ptr<QTcpServer> server, QString scheme)
    : m_server(std::move(server)), m_scheme(std::move(scheme))
{
    connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *const socket = m_server->nextPendingConnection())
            new Connection(*this, socket);
    });
    if (!m_server->listen(QHostAddress::LocalHost))
        qFatal("No port is free on loopback");
}

HttpServer::~HttpServer() = default;

void HttpServer::release()
{
    Q_EMIT released();
}

QUrl HttpServer::url(const QString &path) const
{
    return QUrl(u"%1://127.0.0.1:%2%3"_s.arg(m_scheme).arg(m_server->serverPort()).arg(path));
}

qsizetype HttpServer::connections() const
{
    const auto sockets = m_server->findChildren<QTcpSocket *>();
    return std::count_if(sockets.begin(), sockets.end(), [](const QTcpSocket *socket) {
        return socket->state() == QAbstractSocket::ConnectedState;
    });
}

QUrl HttpServer::closedUrl(const QString &path)
{
    const HttpServer gone;
    return gone.url(path);
}

HttpServer::Answer HttpServer::redirect(const QUrl &place, int status)
{
    Answer answer;
    answer.status = status;
    answer.headers = {"Location: " + place.toEncoded()};
    return answer;
}
