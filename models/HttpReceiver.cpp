#include "models/HttpReceiver.h"

#include "models/PartialFile.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <utility>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

namespace {
// The read buffer of the network, and the size of one write to the disk. Measured: larger ones are
// not faster.
constexpr qint64 bufferSize = 4'194'304;
constexpr size_t chunkSize = 262'144;
// Returns to the event loop after so many chunks, so that a fast transfer can be cancelled.
constexpr int chunksPerStep = 16;
// A progress bar needs no updates that the eye cannot follow.
constexpr auto reportInterval = 50ms;

QNetworkRequest makeRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    // Qt does not notice if the connection ends early in a compressed body. Models hardly compress
    // anyway.
    request.setRawHeader("Accept-Encoding", "identity");
    // For HTTP/2, Qt ignores the size of the read buffer.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    for (const auto personal :
         {QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::CookieSaveControlAttribute,
          QNetworkRequest::AuthenticationReuseAttribute})
        request.setAttribute(personal, QNetworkRequest::Manual);
    return request;
}
} // namespace

HttpReceiver::HttpReceiver(QString folder, PartialFile &file, QEventLoop &loop,
                           OnProgress onProgress)
    : m_folder(std::move(folder))
    , m_file(file)
    , m_loop(loop)
    , m_onProgress(std::move(onProgress))
    , m_chunk(chunkSize)
{
    m_stall.setSingleShot(true);
    connect(&m_stall, &QTimer::timeout, this, [this] { fail(u"The request timed out."_s); });
    m_nextReport.setSingleShot(true);
    m_nextReport.setInterval(reportInterval);
    connect(&m_nextReport, &QTimer::timeout, this, [this] { report(); });
}

HttpReceiver::~HttpReceiver() = default;

void HttpReceiver::start(const QUrl &url, std::chrono::milliseconds timeout)
{
    m_reply.reset(m_network.get(makeRequest(url)));
    m_reply->setReadBufferSize(bufferSize);
    connect(m_reply.get(), &QNetworkReply::redirected, this, [this] { m_stall.start(); });
    connect(m_reply.get(), &QNetworkReply::metaDataChanged, this, [this] { readHeaders(); });
    connect(m_reply.get(), &QNetworkReply::readyRead, this, [this] { readBody(); });
    connect(m_reply.get(), &QNetworkReply::finished, this, [this] {
        m_finished = true;
        readBody();
    });
    m_stall.start(timeout);
}

void HttpReceiver::readHeaders()
{
    m_stall.start();
    // The body of an error response is not needed.
    if (httpStatus() >= 400)
        return conclude();
    const QByteArray packing = m_reply->rawHeader("Content-Encoding").trimmed().toLower();
    if (!packing.isEmpty() && packing != "identity")
        fail(u"The server sent the file packed."_s);
}

void HttpReceiver::readBody()
{
    for (int i = 0; i < chunksPerStep && !m_ended && m_reply->bytesAvailable() > 0; ++i) {
        try {
            writeChunk();
        } catch (const TransferError &error) {
            return fail(error.description());
        }
    }
    if (m_ended)
        return;
    m_stall.start();
    if (m_reply->bytesAvailable() > 0)
        QTimer::singleShot(0, this, [this] { readBody(); });
    else if (m_finished)
        conclude();
}

void HttpReceiver::writeChunk()
{
    const qint64 size = m_reply->read(m_chunk.data(), static_cast<qint64>(m_chunk.size()));
    if (size <= 0)
        return;
    if (!m_file.isOpen())
        m_file.open(m_folder);
    m_file.write(m_chunk.data(), size);
    m_written += size;
    if (!m_nextReport.isActive())
        m_nextReport.start();
}

void HttpReceiver::report()
{
    m_onProgress(m_written, announcedLength());
}

void HttpReceiver::conclude()
{
    if (httpStatus() >= 400)
        return fail(u"Download failed (HTTP %1)."_s.arg(httpStatus()));
    if (m_reply->error() != QNetworkReply::NoError)
        return fail(m_reply->errorString());
    if (announcedLength() >= 0 && m_written != announcedLength())
        return fail(u"The network connection was lost."_s);
    try {
        if (!m_file.isOpen()) // empty body
            m_file.open(m_folder);
    } catch (const TransferError &error) {
        return fail(error.description());
    }
    report();
    end();
}

void HttpReceiver::check() const
{
    if (m_failure)
        throw *m_failure;
}

void HttpReceiver::fail(const QString &sentence)
{
    if (m_ended)
        return;
    m_failure.emplace(sentence);
    end();
}

void HttpReceiver::end()
{
    if (m_ended)
        return;
    m_ended = true;
    m_stall.stop();
    m_nextReport.stop();
    QCoreApplication::postEvent(&m_loop, new QEvent(QEvent::Quit));
}

int HttpReceiver::httpStatus() const
{
    return m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// A chunked body also tells its end.
qint64 HttpReceiver::announcedLength() const
{
    bool isNumber = false;
    const qint64 length = m_reply->rawHeader("Content-Length").toLongLong(&isNumber);
    const bool isValid = isNumber && !m_reply->hasRawHeader("Transfer-Encoding");
    return isValid ? length : -1;
}
