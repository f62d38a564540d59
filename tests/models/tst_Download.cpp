#include "models/Download.h"

#include "models/Transfer.h"
#include "tests/support/HttpServer.h"
#include "tests/support/PrivateHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSslKey>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <filesystem>

#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;
using Answer = HttpServer::Answer;
using Framing = HttpServer::Framing;

namespace {
constexpr std::chrono::milliseconds patience = 30s;
constexpr int eventually = 60'000;

// Different everywhere, so that a piece that is missing, repeated or moved shows.
QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 value = 1;
    for (char &byte : bytes) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    return bytes;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

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
} // namespace

class DownloadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void namesTheFileAfterTheAddress_data();
    void namesTheFileAfterTheAddress();
    void tellsHowMuchOfTheWholeHasCome_data();
    void tellsHowMuchOfTheWholeHasCome();

    void bringsTheWholeBody_data();
    void bringsTheWholeBody();
    void takesABodyThatIsMarkedAsNotPacked();
    void refusesAPackedBodyThatItDidNotAskFor();
    void takesALocalFileToo();
    void reportsProgressAgainstTheAnnouncedLength();
    void reportsProgressAgainstAGuessWithoutALength();
    void asksForTheAddressOnceAndForNothingElse();

    void failsByTheStatus_data();
    void failsByTheStatus();
    void doesNotWaitForAPageThatExplainsAFailure();
    void failsWhereNobodyListens();
    void failsOnAnAddressThatIsNone_data();
    void failsOnAnAddressThatIsNone();
    void failsWhenTheConnectionEndsEarly_data();
    void failsWhenTheConnectionEndsEarly();
    void failsWhenNothingComes_data();
    void failsWhenNothingComes();
    void waitsForAServerThatIsSlowButAlive();

    void followsRedirects_data();
    void followsRedirects();
    void keepsTheNameOfTheAddressThatWasAskedFor();
    void givesUpOnARedirectInACircle();
    void followsNoRedirectOutOfTheWeb();
    void trustsNoCertificateOfUnknownOrigin();
    void followsARedirectFromHttpsToHttps();
    void followsNoRedirectFromHttpsToHttp();
    void sendsNoCookieBack();

    void replacesWhatStandsInItsPlace_data();
    void replacesWhatStandsInItsPlace();
    void keepsAnOlderFileUntilTheNewOneIsWhole();
    void keepsAnOlderFileWhenItFails();
    void failsWithTheSystemsWordsWhenTheDiskIsFull_data();
    void failsWithTheSystemsWordsWhenTheDiskIsFull();
    void failsWithTheSystemsWordsWithoutAFolder();
    void failsWithTheSystemsWordsWhenItCannotTakeItsPlace();

    void aCancelIsSilentAndLeavesNothing_data();
    void aCancelIsSilentAndLeavesNothing();
    void aCancelBeforeTheFirstByteIsSilent();
    void aCancelDropsTheEventsOnTheirWay();
    void destroyingItWaitsUntilNothingIsLeft();
    void mayBeDestroyedInItsLastEvent();

    void sweepsWhatADeadProcessLeft();
    void leavesTheFilesOfRunningTransfersAlone();
    void sweepsNothingElse();

private:
    QStringList leftOver() const;
    QString path(const QString &name) const { return m_folder->filePath(name); }
    /// Where the answer is to be had.
    QUrl serving(const Answer &answer);
    void start(const QUrl &url, std::chrono::milliseconds wait = patience);
    void finish(const QUrl &url, std::chrono::milliseconds wait = patience);
    Download::Events events();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<Download> m_download;
    QList<double> m_progress;
    bool m_ended = false;
    std::optional<QString> m_failure;
};

void DownloadTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<HttpServer>();
    m_progress.clear();
    m_ended = false;
    m_failure.reset();
}

void DownloadTest::cleanup()
{
    m_download.reset();
    m_server.reset();
}

QStringList DownloadTest::leftOver() const
{
    return QDir(m_folder->path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

Download::Events DownloadTest::events()
{
    Download::Events result;
    result.progress = [this](double fraction) { m_progress += fraction; };
    result.end = [this](const std::optional<QString> &failure) {
        m_ended = true;
        m_failure = failure;
    };
    return result;
}

QUrl DownloadTest::serving(const Answer &answer)
{
    m_server->setAnswer(u"/model.gguf"_s, answer);
    return m_server->url(u"/model.gguf"_s);
}

void DownloadTest::start(const QUrl &url, std::chrono::milliseconds wait)
{
    m_download = std::make_unique<Download>(url, m_folder->path(), wait, events());
}

void DownloadTest::finish(const QUrl &url, std::chrono::milliseconds wait)
{
    start(url, wait);
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
}

void DownloadTest::namesTheFileAfterTheAddress_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *url, const char *name) {
        QTest::newRow(url) << QString::fromUtf8(url) << QString::fromUtf8(name);
    };
    row("https://example.org/a/b/model-Q4_K_M.gguf", "model-Q4_K_M.gguf");
    row("https://example.org/model.bin?download=true#top", "model.bin");
    row("https://example.org/a/b/", "b");
    row("https://example.org/my%20model.gguf", "my model.gguf");
    row("https://example.org/m%C3%B6del.gguf", "mödel.gguf");
    row("https://example.org/.hidden", ".hidden");
    row("https://example.org", "model.gguf");
    row("https://example.org/", "model.gguf");
    row("https://example.org//", "model.gguf");
    row("https://example.org/?file=x.gguf", "model.gguf");
    row("https://example.org/a/..%2F..%2Fetc", "model.gguf");
    row("https://example.org/a/%2E%2E", "model.gguf");
    row("https://example.org/a/%2e", "model.gguf");
    row("https://example.org/a/x%00y", "model.gguf");
    row("", "model.gguf");
}

void DownloadTest::namesTheFileAfterTheAddress()
{
    QFETCH(const QString, url);
    QFETCH(const QString, name);
    QCOMPARE(Transfer::fileName(QUrl(url)), name);
}

void DownloadTest::tellsHowMuchOfTheWholeHasCome_data()
{
    QTest::addColumn<qint64>("received");
    QTest::addColumn<qint64>("whole");
    QTest::addColumn<double>("fraction");
    QTest::newRow("nothing") << qint64{0} << qint64{100} << 0.0;
    QTest::newRow("half") << qint64{50} << qint64{100} << 0.5;
    QTest::newRow("all") << qint64{100} << qint64{100} << 1.0;
    QTest::newRow("more than all") << qint64{101} << qint64{100} << 1.0;
    QTest::newRow("no length") << qint64{500'000'000} << qint64{-1} << 0.5;
    QTest::newRow("length zero") << qint64{250'000'000} << qint64{0} << 0.25;
    QTest::newRow("no length, little") << qint64{1} << qint64{-1} << 0.000'000'001;
    QTest::newRow("no length, full") << qint64{1'000'000'000} << qint64{-1} << 1.0;
    QTest::newRow("no length, beyond") << qint64{1'000'000'001} << qint64{-1} << 1.0;
    QTest::newRow("a real size") << qint64{986'000'000} << qint64{1'972'000'000} << 0.5;
}

void DownloadTest::tellsHowMuchOfTheWholeHasCome()
{
    QFETCH(const qint64, received);
    QFETCH(const qint64, whole);
    QFETCH(const double, fraction);
    QVERIFY(Transfer::fraction(received, whole) == fraction);
}

void DownloadTest::bringsTheWholeBody_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::addColumn<qint64>("size");
    const std::pair<const char *, Framing> framings[] = {
        {"with a length", Framing::length},
        {"chunked", Framing::chunked},
        {"up to the connection's end", Framing::close},
    };
    for (const auto &[name, framing] : framings) {
        for (const qint64 size : {0, 1, 256 * 1024, 5'000'001, 20'000'000})
            QTest::addRow("%lld bytes %s", static_cast<long long>(size), name) << framing << size;
    }
}

void DownloadTest::bringsTheWholeBody()
{
    QFETCH(const Framing, framing);
    QFETCH(const qint64, size);
    const QByteArray body = pattern(size);
    m_server->setAnswer(u"/a/model.gguf"_s, {.body = body, .framing = framing});

    finish(m_server->url(u"/a/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QCOMPARE(leftOver(), QStringList{u"model.gguf"_s});
    QVERIFY(contents(path(u"model.gguf"_s)) == body);
    QVERIFY(!m_progress.isEmpty());
    QVERIFY(std::is_sorted(m_progress.begin(), m_progress.end()));
}

void DownloadTest::takesABodyThatIsMarkedAsNotPacked()
{
    const QByteArray body = pattern(50'000);
    finish(serving({.body = body, .headers = {"Content-Encoding: Identity"}}));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(contents(path(u"model.gguf"_s)) == body);
}

void DownloadTest::refusesAPackedBodyThatItDidNotAskFor()
{
    finish(serving({.body = pattern(50'000), .headers = {"Content-Encoding: gzip"}}));
    QVERIFY(m_server->requests().first().head.contains("\r\nAccept-Encoding: identity\r\n"));
    QCOMPARE(m_failure.value_or(QString()), u"The server sent the file packed."_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::takesALocalFileToo()
{
    const QTemporaryDir elsewhere;
    const QByteArray bytes = pattern(20'000'000);
    write(elsewhere.filePath(u"local.gguf"_s), bytes);
    finish(QUrl::fromLocalFile(elsewhere.filePath(u"local.gguf"_s)));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(contents(path(u"local.gguf"_s)) == bytes);
    QCOMPARE(m_progress.last(), 1.0);
}

void DownloadTest::reportsProgressAgainstTheAnnouncedLength()
{
    start(serving({.body = pattern(1'000'000), .holdAfter = 250'000}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty() && m_progress.last() == 0.25, eventually);
    QVERIFY(!m_ended);
    m_server->release();
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
    QCOMPARE(m_progress.last(), 1.0);
}

void DownloadTest::reportsProgressAgainstAGuessWithoutALength()
{
    start(
        serving({.body = pattern(6'000'000), .framing = Framing::chunked, .holdAfter = 5'000'000}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty() && m_progress.last() == 0.005, eventually);
    m_server->release();
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
    QCOMPARE(m_progress.last(), 0.006);
}

void DownloadTest::asksForTheAddressOnceAndForNothingElse()
{
    finish(serving({.body = "x"}));
    QCOMPARE(m_server->requests().size(), 1);
    const HttpServer::Request &request = m_server->requests().first();
    QCOMPARE(request.method, QByteArray("GET"));
    for (const char *header : {"Range:", "Authorization:", "Cookie:", "Referer:"})
        QVERIFY2(!request.head.contains(header), header);
}

void DownloadTest::failsByTheStatus_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {400, 401, 403, 404, 410, 429, 500, 503, 599})
        QTest::addRow("%d", status) << status;
}

void DownloadTest::failsByTheStatus()
{
    QFETCH(const int, status);
    finish(serving({.status = status, .body = "An explanation"}));
    QCOMPARE(m_failure.value_or(QString()), u"Download failed (HTTP %1)."_s.arg(status));
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::doesNotWaitForAPageThatExplainsAFailure()
{
    finish(serving({.status = 404, .body = "An explanation", .holdAfter = 3}));
    QCOMPARE(m_failure.value_or(QString()), u"Download failed (HTTP 404)."_s);
}

void DownloadTest::failsWhereNobodyListens()
{
    finish(HttpServer::closedUrl(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Connection refused"_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::failsOnAnAddressThatIsNone_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("empty") << QUrl();
    QTest::newRow("without a host") << QUrl(u"https:///model.gguf"_s);
    QTest::newRow("of no known kind") << QUrl(u"gopher://127.0.0.1/model.gguf"_s);
    QTest::newRow("relative") << QUrl(u"model.gguf"_s);
}

void DownloadTest::failsOnAnAddressThatIsNone()
{
    QFETCH(const QUrl, url);
    finish(url);
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::failsWhenTheConnectionEndsEarly_data()
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

void DownloadTest::failsWhenTheConnectionEndsEarly()
{
    QFETCH(const Framing, framing);
    QFETCH(const qint64, at);
    finish(serving({.body = pattern(50'000),
                    .size = at < 3'000'000 ? 3'000'000 : 20'000'000,
                    .framing = framing,
                    .cutAfter = at}));
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::failsWhenNothingComes_data()
{
    QTest::addColumn<bool>("silent");
    QTest::addColumn<qint64>("holdAfter");
    QTest::newRow("no answer") << true << qint64{-1};
    QTest::newRow("only headers") << false << qint64{0};
    QTest::newRow("a part of the body") << false << qint64{1'000};
}

void DownloadTest::failsWhenNothingComes()
{
    QFETCH(const bool, silent);
    QFETCH(const qint64, holdAfter);
    finish(serving({.body = pattern(50'000), .holdAfter = holdAfter, .isSilent = silent}), 300ms);
    QCOMPARE(m_failure.value_or(QString()), u"The request timed out."_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::waitsForAServerThatIsSlowButAlive()
{
    // All of it takes longer than the patience, which is for a silence only.
    const QByteArray body = pattern(60);
    QElapsedTimer clock;
    clock.start();
    finish(serving({.body = body, .dripInterval = 50}), 2s);
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(clock.elapsed() > 2'000);
    QVERIFY(contents(path(u"model.gguf"_s)) == body);
}

void DownloadTest::followsRedirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("hops");
    for (const int status : {301, 302, 303, 307, 308})
        QTest::addRow("one, %d", status) << status << 1;
    QTest::newRow("a chain") << 302 << 7;
}

void DownloadTest::followsRedirects()
{
    QFETCH(const int, status);
    QFETCH(const int, hops);
    m_server->setAnswer(u"/%1/model.gguf"_s.arg(hops), {.body = pattern(300'000)});
    for (int hop = 0; hop < hops; ++hop) {
        // An address without a host is one beside the first.
        const QUrl next(u"/%1/model.gguf"_s.arg(hop + 1));
        m_server->setAnswer(u"/%1/model.gguf"_s.arg(hop), HttpServer::redirect(next, status));
    }
    finish(m_server->url(u"/0/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(contents(path(u"model.gguf"_s)) == pattern(300'000));
    QCOMPARE(m_progress.last(), 1.0);
}

void DownloadTest::keepsTheNameOfTheAddressThatWasAskedFor()
{
    HttpServer other;
    other.setAnswer(u"/cdn/3f2a"_s, {.body = "x"});
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(other.url(u"/cdn/3f2a"_s)));
    finish(m_server->url(u"/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QCOMPARE(leftOver(), QStringList{u"model.gguf"_s});
}

void DownloadTest::givesUpOnARedirectInACircle()
{
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(QUrl(u"/model.gguf"_s)));
    finish(m_server->url(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Too many redirects"_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::followsNoRedirectOutOfTheWeb()
{
    const QTemporaryDir elsewhere;
    write(elsewhere.filePath(u"secret"_s), "secret");
    const QUrl local = QUrl::fromLocalFile(elsewhere.filePath(u"secret"_s));
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(local));
    finish(m_server->url(u"/model.gguf"_s));
    QVERIFY(m_failure);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::trustsNoCertificateOfUnknownOrigin()
{
    HttpServer secure(loopbackTls());
    secure.setAnswer(u"/model.gguf"_s, {.body = "x"});
    finish(secure.url(u"/model.gguf"_s));
    QVERIFY(m_failure);
    QVERIFY(!m_failure->isEmpty());
    QCOMPARE(secure.requests().size(), 0);
    QCOMPARE(leftOver(), QStringList());
}

namespace {
// The test's certificate is trusted as long as one of these lives.
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

void DownloadTest::followsARedirectFromHttpsToHttps()
{
    const Trust trust;
    HttpServer secure(loopbackTls());
    secure.setAnswer(u"/elsewhere"_s, {.body = pattern(3'000'000)});
    secure.setAnswer(u"/model.gguf"_s, HttpServer::redirect(secure.url(u"/elsewhere"_s)));
    finish(secure.url(u"/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(contents(path(u"model.gguf"_s)) == pattern(3'000'000));
}

void DownloadTest::followsNoRedirectFromHttpsToHttp()
{
    const Trust trust;
    HttpServer secure(loopbackTls());
    m_server->setAnswer(u"/model.gguf"_s, {.body = "x"});
    secure.setAnswer(u"/model.gguf"_s, HttpServer::redirect(m_server->url(u"/model.gguf"_s)));
    finish(secure.url(u"/model.gguf"_s));
    QCOMPARE(m_failure.value_or(QString()), u"Insecure redirect"_s);
    QCOMPARE(secure.requests().size(), 1);
    QCOMPARE(m_server->requests().size(), 0);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::sendsNoCookieBack()
{
    Answer redirect = HttpServer::redirect(QUrl(u"/elsewhere"_s));
    redirect.headers += "Set-Cookie: visitor=7; Path=/";
    m_server->setAnswer(u"/elsewhere"_s, {.body = "x"});
    m_server->setAnswer(u"/model.gguf"_s, redirect);
    finish(m_server->url(u"/model.gguf"_s));
    // How many there are is Qt's: it asks once more where a connection ended under it.
    QCOMPARE(m_server->requests().last().path, QByteArray("/elsewhere"));
    for (const HttpServer::Request &request : m_server->requests())
        QVERIFY(!request.head.contains("visitor"));
}

void DownloadTest::replacesWhatStandsInItsPlace_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what :
         {"file", "longer file", "folder", "link to a file", "broken link", "link to a folder"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void DownloadTest::replacesWhatStandsInItsPlace()
{
    QFETCH(const QString, what);
    const QTemporaryDir elsewhere;
    write(elsewhere.filePath(u"kept"_s), "kept");
    const QString place = path(u"model.gguf"_s);
    if (what == u"file"_s) {
        write(place, "old");
    } else if (what == u"longer file"_s) {
        write(place, pattern(900'000));
    } else if (what == u"folder"_s) {
        QVERIFY(QDir().mkpath(place + u"/sub/sub"_s));
        write(place + u"/sub/file"_s, "old");
    } else if (what == u"link to a file"_s) {
        QVERIFY(QFile::link(elsewhere.filePath(u"kept"_s), place));
    } else if (what == u"broken link"_s) {
        QVERIFY(QFile::link(elsewhere.filePath(u"nothing"_s), place));
    } else {
        QVERIFY(QFile::link(elsewhere.path(), place));
    }
    const QByteArray body = pattern(300'000);
    finish(serving({.body = body}));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QCOMPARE(leftOver(), QStringList{u"model.gguf"_s});
    QVERIFY(!QFileInfo(place).isSymLink());
    QVERIFY(contents(place) == body);
    QCOMPARE(QDir(elsewhere.path()).entryList(QDir::Files), QStringList{u"kept"_s});
    QCOMPARE(contents(elsewhere.filePath(u"kept"_s)), QByteArray("kept"));
}

void DownloadTest::keepsAnOlderFileUntilTheNewOneIsWhole()
{
    write(path(u"model.gguf"_s), "old");
    const QByteArray body = pattern(600'000);
    start(serving({.body = body, .holdAfter = 500'000}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty(), eventually);
    QCOMPARE(contents(path(u"model.gguf"_s)), QByteArray("old"));
    QCOMPARE(leftOver().size(), 2);
    m_server->release();
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
    QVERIFY(contents(path(u"model.gguf"_s)) == body);
    QCOMPARE(leftOver().size(), 1);
}

void DownloadTest::keepsAnOlderFileWhenItFails()
{
    write(path(u"model.gguf"_s), "old");
    finish(serving({.body = pattern(600'000), .cutAfter = 500'000}));
    QVERIFY(m_failure);
    QCOMPARE(contents(path(u"model.gguf"_s)), QByteArray("old"));
    QCOMPARE(leftOver().size(), 1);
}

namespace {
// No file may grow beyond this size as long as one of these lives: for a program, a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t size)
    {
        m_usualHandler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_usual);
        const rlimit limit = {size, m_usual.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_usual);
        std::signal(SIGXFSZ, m_usualHandler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit m_usual = {};
    void (*m_usualHandler)(int) = nullptr;
};
} // namespace

void DownloadTest::failsWithTheSystemsWordsWhenTheDiskIsFull_data()
{
    QTest::addColumn<int>("room");
    QTest::newRow("at once") << 0;
    QTest::newRow("in the middle") << 1'234'567;
    QTest::newRow("at the last byte") << 2'999'999;
}

void DownloadTest::failsWithTheSystemsWordsWhenTheDiskIsFull()
{
    QFETCH(const int, room);
    m_server->setAnswer(u"/model.gguf"_s, {.body = pattern(3'000'000)});
    {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        finish(m_server->url(u"/model.gguf"_s));
    }
    QCOMPARE(m_failure.value_or(QString()), u"File too large"_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::failsWithTheSystemsWordsWithoutAFolder()
{
    m_folder->remove();
    finish(serving({.body = "x"}));
    QCOMPARE(m_failure.value_or(QString()), u"No such file or directory"_s);
}

void DownloadTest::failsWithTheSystemsWordsWhenItCannotTakeItsPlace()
{
    // A name that is too long for any file, found out at the very end.
    const QString name = QString(300, u'n');
    m_server->setAnswer(u'/' + name, {.body = "x"});
    finish(m_server->url(u'/' + name));
    QCOMPARE(m_failure.value_or(QString()), u"File name too long"_s);
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::aCancelIsSilentAndLeavesNothing_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::newRow("with a length") << Framing::length;
    QTest::newRow("chunked") << Framing::chunked;
    QTest::newRow("up to the connection's end") << Framing::close;
}

void DownloadTest::aCancelIsSilentAndLeavesNothing()
{
    QFETCH(const Framing, framing);
    start(serving({.body = pattern(600'000), .framing = framing, .holdAfter = 500'000}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty(), eventually);
    QCOMPARE(leftOver().size(), 1);
    m_download->cancel();
    QTRY_VERIFY_WITH_TIMEOUT(m_download->isOver(), eventually);
    QCOMPARE(leftOver(), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connections(), 0, eventually);
    QVERIFY(!m_ended);
    m_download->cancel(); // Again: nothing happens.
}

void DownloadTest::aCancelBeforeTheFirstByteIsSilent()
{
    start(serving({.isSilent = true}));
    m_download->cancel();
    QTRY_VERIFY_WITH_TIMEOUT(m_download->isOver(), eventually);
    QVERIFY(!m_ended);
    QVERIFY(m_progress.isEmpty());
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::aCancelDropsTheEventsOnTheirWay()
{
    // The end is already posted, but not yet delivered, when the cancel comes.
    start(HttpServer::closedUrl(u"/model.gguf"_s));
    while (!m_download->isOver())
        std::this_thread::yield();
    m_download->cancel();
    m_download.reset();
    QCoreApplication::processEvents();
    QVERIFY(!m_ended);
}

void DownloadTest::destroyingItWaitsUntilNothingIsLeft()
{
    start(serving({.body = pattern(600'000), .holdAfter = 500'000}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty(), eventually);
    m_download.reset();
    QCOMPARE(leftOver(), QStringList());
}

void DownloadTest::mayBeDestroyedInItsLastEvent()
{
    m_server->setAnswer(u"/model.gguf"_s, {.body = "x"});
    Download::Events own = events();
    own.end = [this](const std::optional<QString> &failure) {
        m_download.reset();
        m_ended = true;
        m_failure = failure;
    };
    m_download = std::make_unique<Download>(m_server->url(u"/model.gguf"_s), m_folder->path(),
                                            patience, std::move(own));
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
    QVERIFY(!m_failure);
    QCOMPARE(contents(path(u"model.gguf"_s)), QByteArray("x"));
}

void DownloadTest::sweepsWhatADeadProcessLeft()
{
    write(path(u"3f2a.quillon-part"_s), "half a model");
    finish(serving({.body = "x"}));
    QCOMPARE(leftOver(), QStringList{u"model.gguf"_s});
}

void DownloadTest::leavesTheFilesOfRunningTransfersAlone()
{
    // As another process would hold it: through an open file of its own.
    QFile other(path(u"3f2a.quillon-part"_s));
    QVERIFY(other.open(QIODevice::WriteOnly));
    QCOMPARE(::flock(other.handle(), LOCK_EX | LOCK_NB), 0);

    const QByteArray body = pattern(600'000);
    m_server->setAnswer(u"/slow.gguf"_s, {.body = body, .holdAfter = 500'000});
    m_server->setAnswer(u"/quick.gguf"_s, {.body = "x"});

    start(m_server->url(u"/slow.gguf"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!m_progress.isEmpty(), eventually);
    const std::unique_ptr<Download> slow = std::move(m_download);
    QCOMPARE(leftOver().size(), 2);
    finish(m_server->url(u"/quick.gguf"_s));
    QCOMPARE(leftOver().size(), 3);
    QVERIFY(other.exists());

    m_ended = false;
    m_server->release();
    QTRY_VERIFY_WITH_TIMEOUT(m_ended, eventually);
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(contents(path(u"slow.gguf"_s)) == body);
}

void DownloadTest::sweepsNothingElse()
{
    const QTemporaryDir elsewhere;
    write(elsewhere.filePath(u"kept"_s), "kept");
    write(path(u"other.gguf"_s), "other");
    write(path(u"browser.part"_s), "other");
    QVERIFY(QDir().mkpath(path(u"folder.quillon-part"_s)));
    QVERIFY(QFile::link(elsewhere.filePath(u"kept"_s), path(u"link.quillon-part"_s)));
    const QStringList before = leftOver();
    finish(HttpServer::closedUrl(u"/model.gguf"_s));
    QCOMPARE(leftOver(), before);
    QCOMPARE(contents(elsewhere.filePath(u"kept"_s)), QByteArray("kept"));
}

int main(int argc, char **argv)
{
    const PrivateHome home;
    QCoreApplication app(argc, argv);
    DownloadTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Download.moc"
