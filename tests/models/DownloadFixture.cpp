#include "tests/models/DownloadFixture.h"

#include "tests/support/Waiting.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Answer = HttpServer::Answer;

void DownloadFixture::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<HttpServer>();
    m_progress.clear();
    m_ended = false;
    m_failure.reset();
}

void DownloadFixture::cleanup()
{
    m_download.reset();
    m_server.reset();
}

Download::Events DownloadFixture::events()
{
    Download::Events result;
    result.progress = [this](double fraction) { m_progress += fraction; };
    result.done = [this] { m_ended = true; };
    result.failed = [this](const TransferError &error) {
        m_ended = true;
        m_failure = error.description();
    };
    return result;
}

QUrl DownloadFixture::serving(const Answer &answer)
{
    m_server->setAnswer(u"/model.gguf"_s, answer);
    return m_server->url(u"/model.gguf"_s);
}

void DownloadFixture::start(const QUrl &url, std::chrono::milliseconds wait)
{
    m_download = std::make_unique<Download>(url, m_folder->path(), wait, events());
}

void DownloadFixture::finish(const QUrl &url, std::chrono::milliseconds wait)
{
    start(url, wait);
    QTRY_VERIFY(m_ended);
}

QByteArray DownloadFixture::pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 value = 1;
    for (char &byte : bytes) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    return bytes;
}
