#include "models/HttpReceiver.h"

#include "models/PartialFile.h"
#include "tests/models/DownloadFixture.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QScopeGuard>
#include <QSslKey>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Answer = HttpServer::Answer;
using Framing = HttpServer::Framing;

namespace {
QSslConfiguration loopbackTls()
{
    const QString folder = u"" QUILLON_TEST_SUPPORT "/tls/"_s;
    QFile key(folder + u"loopback-key.pem"_s);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    if (key.open(QIODevice::ReadOnly))
        tls.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    tls.setLocalCertificateChain(QSslCertificate::fromPath(folder + u"loopback-certificate.pem"_s));
    return tls;
}

// The test's certificate is trusted while one of these exists.
class Trust
{
public:
    Trust()
    {
        QSslConfiguration tls = m_usual;
        tls.addCaCertificates(loopbackTls().localCertificateChain());
        QSslConfiguration::setDefaultConfiguration(tls);
    }
    ~Trust() { QSslConfiguration::setDefaultConfiguration(m_usual); }
    Trust(const Trust &) = delete;
    Trust &operator=(const Trust &) = delete;

private:
    const QSslConfiguration m_usual = QSslConfiguration::defaultConfiguration();
};
} // namespace

class tst_HttpReceiver : public DownloadFixture
{
    Q_OBJECT

private Q_SLOTS:
    void receivesTheWholeBody_data();
    void receivesTheWholeBody();
    void acceptsTheIdentityEncoding();
    void refusesACompressedBody();
    void copiesALocalFile();
    void sendsOneRequestWithoutPersonalHeaders();

    void failsWithTheStatus_data();
    void failsWithTheStatus();
    void doesNotWaitForTheBodyOfAnErrorResponse();
    void failsIfTheConnectionIsRefused();
    void failsForAnInvalidAddress_data();
    void failsForAnInvalidAddress();
    void failsWhenTheConnectionEndsEarly_data();
    void failsWhenTheConnectionEndsEarly();
    void failsAfterAStall_data();
    void failsAfterAStall();
    void waitsForASlowServer();
    void aSlowDiskHoldsUpTheServer();

    void followsRedirects_data();
    void followsRedirects();
    void failsForCircularRedirects();
    void followsNoRedirectToALocalFile();
    void refusesAnUnknownCertificate();
    void followsARedirectFromHttpsToHttps();
    void followsNoRedirectFromHttpsToHttp();
    void sendsNoCookies();
};

void tst_HttpReceiver::receivesTheWholeBody_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::addColumn<qint64>("size");
    const std::initializer_list<std::pair<const char *, Framing>> framings = {
        {"with a length", Framing::length},
        {"chunked", Framing::chunked},
        {"up to the connection's end", Framing::close},
    };
    for (const auto &[name, framing] : framings) {
        for (const qint64 size : {0, 1, 256 * 1024, 5'000'001, 20'000'000})
            QTest::addRow("%lld bytes %s", static_cast<long long>(size), name) << framing << size;
    }
}

void tst_HttpReceiver::receivesTheWholeBody()
{
    QFETCH(const Framing, framing);
    QFETCH(const qint64, size);
    const QByteArray body = pattern(size);
    m_server->setAnswer(u"/a/model.gguf"_s, {.body = body, .framing = framing});

    finish(m_server->url(u"/a/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QCOMPARE(names(), QStringList{u"model.gguf"_s});
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == body);
    QVERIFY(!m_progress.isEmpty());
    QVERIFY(std::is_sorted(m_progress.begin(), m_progress.end()));
}

void tst_HttpReceiver::acceptsTheIdentityEncoding()
{
    const QByteArray body = pattern(50'000);
    finish(serving({.body = body, .headers = {"Content-Encoding: Identity"}}));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == body);
}

void tst_HttpReceiver::refusesACompressedBody()
{
    finish(serving({.body = pattern(50'000), .headers = {"Content-Encoding: gzip"}}));
    QVERIFY(m_server->requests().first().head.contains("\r\nAccept-Encoding: identity\r\n"));
    QCOMPARE(m_failure.value_or(QString()), u"The server sent the file packed."_s);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::copiesALocalFile()
{
    const QTemporaryDir elsewhere;
    const QByteArray bytes = pattern(20'000'000);
    Files::write(elsewhere.filePath(u"local.gguf"_s), bytes);
    finish(QUrl::fromLocalFile(elsewhere.filePath(u"local.gguf"_s)));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"local.gguf"_s)) == bytes);
    QCOMPARE(m_progress.last(), 1.0);
}

void tst_HttpReceiver::sendsOneRequestWithoutPersonalHeaders()
{
    finish(serving({.body = "x"}));
    QCOMPARE(m_server->requests().size(), 1);
    const HttpServer::Request &request = m_server->requests().first();
    QCOMPARE(request.method, QByteArray("GET"));
    for (const char *header : {"Range:", "Authorization:", "Cookie:", "Referer:"})
        QVERIFY2(!request.head.contains(header), header);
}

void tst_HttpReceiver::failsWithTheStatus_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {400, 401, 403, 404, 410, 429, 500, 503, 599})
        QTest::addRow("%d", status) << status;
}

void tst_HttpReceiver::failsWithTheStatus()
{
    QFETCH(const int, status);
    finish(serving({.status = status, .body = "An explanation"}));
    QCOMPARE(m_failure.value_or(QString()), u"Download failed (HTTP %1)."_s.arg(status));
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::doesNotWaitForTheBodyOfAnErrorResponse()
{
    finish(serving({.status = 404, .body = "An explanation", .holdAfter = 3}));
    QCOMPARE(m_failure.value_or(QString()), u"Download failed (HTTP 404)."_s);
}

void tst_HttpReceiver::failsIfTheConnectionIsRefused()
{
    finish(HttpServer::closedUrl(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Connection refused"_s);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::failsForAnInvalidAddress_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("empty") << QUrl();
    QTest::newRow("without a host") << QUrl(u"https:///model.gguf"_s);
    QTest::newRow("of no known kind") << QUrl(u"gopher://127.0.0.1/model.gguf"_s);
    QTest::newRow("relative") << QUrl(u"model.gguf"_s);
}

void tst_HttpReceiver::failsForAnInvalidAddress()
{
    QFETCH(const QUrl, url);
    finish(url);
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::failsWhenTheConnectionEndsEarly_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::addColumn<qint64>("at");
    for (const qint64 at : {0, 1, 70'000, 2'999'999, 15'000'000}) {
        QTest::addRow("after %lld bytes of a length", static_cast<long long>(at))
            << Framing::length << at;
        QTest::addRow("after %lld bytes in chunks", static_cast<long long>(at))
            << Framing::chunked << at;
    }
}

void tst_HttpReceiver::failsWhenTheConnectionEndsEarly()
{
    QFETCH(const Framing, framing);
    QFETCH(const qint64, at);
    finish(serving({.body = pattern(50'000),
                    .size = at < 3'000'000 ? 3'000'000 : 20'000'000,
                    .framing = framing,
                    .cutAfter = at}));
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::failsAfterAStall_data()
{
    QTest::addColumn<bool>("silent");
    QTest::addColumn<qint64>("holdAfter");
    QTest::newRow("no answer") << true << qint64{-1};
    QTest::newRow("only headers") << false << qint64{0};
    QTest::newRow("a part of the body") << false << qint64{1'000};
}

void tst_HttpReceiver::failsAfterAStall()
{
    QFETCH(const bool, silent);
    QFETCH(const qint64, holdAfter);
    finish(serving({.body = pattern(50'000), .holdAfter = holdAfter, .isSilent = silent}), 300ms);
    QCOMPARE(m_failure.value_or(QString()), u"The request timed out."_s);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::waitsForASlowServer()
{
    // The body takes three seconds in all, but no byte takes longer than the timeout.
    const QByteArray body = pattern(60);
    finish(serving({.body = body, .dripInterval = 50}), 2s);
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == body);
}

// Otherwise a model of some gigabytes would be collected in the memory.
void tst_HttpReceiver::aSlowDiskHoldsUpTheServer()
{
    constexpr qint64 size = 256LL * 1024 * 1024;
    const QUrl url = serving({.body = pattern(qsizetype{1024} * 1024), .size = size});
    std::atomic<bool> isSlow = true;
    std::atomic<bool> isHeldUp = false;
    std::atomic<qint64> received = 0;
    std::thread receiving([&, folder = m_folder->path()] {
        QEventLoop loop;
        PartialFile file;
        HttpReceiver receiver(folder, file, loop, [&](qint64 written, qint64) {
            received = written;
            isHeldUp = true;
            isSlow.wait(true); // the thread that writes to the disk
        });
        receiver.start(url, timeout);
        loop.exec();
        receiver.check();
    });
    const auto waitAndJoin = qScopeGuard([&] {
        isSlow = false;
        isSlow.notify_all();
        receiving.join();
    });
    QTRY_VERIFY(isHeldUp);
    // Until the server can send no more.
    qint64 before = -1;
    while (std::exchange(before, m_server->bytesSent()) != m_server->bytesSent())
        QTest::qWait(500);
    // The system's own buffers are some megabytes.
    QVERIFY2(m_server->bytesSent() - received < size / 4,
             qPrintable(QString::number(m_server->bytesSent())));
    isSlow = false;
    isSlow.notify_all();
    QTRY_COMPARE(received.load(), size);
}

void tst_HttpReceiver::followsRedirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("hops");
    for (const int status : {301, 302, 303, 307, 308})
        QTest::addRow("one, %d", status) << status << 1;
    QTest::newRow("a chain") << 302 << 7;
}

void tst_HttpReceiver::followsRedirects()
{
    QFETCH(const int, status);
    QFETCH(const int, hops);
    m_server->setAnswer(u"/%1/model.gguf"_s.arg(hops), {.body = pattern(300'000)});
    for (int hop = 0; hop < hops; ++hop) {
        // Relative to the first address.
        const QUrl next(u"/%1/model.gguf"_s.arg(hop + 1));
        m_server->setAnswer(u"/%1/model.gguf"_s.arg(hop), HttpServer::redirect(next, status));
    }
    finish(m_server->url(u"/0/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == pattern(300'000));
    QCOMPARE(m_progress.last(), 1.0);
}

void tst_HttpReceiver::failsForCircularRedirects()
{
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(QUrl(u"/model.gguf"_s)));
    finish(m_server->url(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Too many redirects"_s);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::followsNoRedirectToALocalFile()
{
    const QTemporaryDir elsewhere;
    Files::write(elsewhere.filePath(u"secret"_s), "secret");
    const QUrl local = QUrl::fromLocalFile(elsewhere.filePath(u"secret"_s));
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(local));
    finish(m_server->url(u"/model.gguf"_s));
    QVERIFY(m_failure);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::refusesAnUnknownCertificate()
{
    HttpServer secure(loopbackTls());
    secure.setAnswer(u"/model.gguf"_s, {.body = "x"});
    finish(secure.url(u"/model.gguf"_s));
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(secure.requests().size(), 0);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::followsARedirectFromHttpsToHttps()
{
    const Trust trust;
    HttpServer secure(loopbackTls());
    secure.setAnswer(u"/elsewhere"_s, {.body = pattern(3'000'000)});
    secure.setAnswer(u"/model.gguf"_s, HttpServer::redirect(secure.url(u"/elsewhere"_s)));
    finish(secure.url(u"/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == pattern(3'000'000));
}

void tst_HttpReceiver::followsNoRedirectFromHttpsToHttp()
{
    const Trust trust;
    HttpServer secure(loopbackTls());
    m_server->setAnswer(u"/model.gguf"_s, {.body = "x"});
    secure.setAnswer(u"/model.gguf"_s, HttpServer::redirect(m_server->url(u"/model.gguf"_s)));
    finish(secure.url(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Insecure redirect"_s);
    QCOMPARE(secure.requests().size(), 1);
    QCOMPARE(m_server->requests().size(), 0);
    QCOMPARE(names(), QStringList());
}

void tst_HttpReceiver::sendsNoCookies()
{
    Answer redirect = HttpServer::redirect(QUrl(u"/elsewhere"_s));
    redirect.headers += "Set-Cookie: visitor=7; Path=/";
    m_server->setAnswer(u"/elsewhere"_s, {.body = "x"});
    m_server->setAnswer(u"/model.gguf"_s, redirect);
    finish(m_server->url(u"/model.gguf"_s));
    // Their number depends on Qt, which repeats a request if the connection was closed.
    QCOMPARE(m_server->requests().last().path, QByteArray("/elsewhere"));
    for (const HttpServer::Request &request : m_server->requests())
        QVERIFY(!request.head.contains("visitor"));
}

int main(int argc, char **argv)
{
    const PrivateHome home;
    const QCoreApplication app(argc, argv);
    tst_HttpReceiver test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_HttpReceiver.moc"
