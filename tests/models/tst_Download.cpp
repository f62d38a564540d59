#include "tests/models/DownloadFixture.h"
#include "tests/models/FileSizeLimit.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using Framing = HttpServer::Framing;

class tst_Download : public DownloadFixture
{
    Q_OBJECT

private Q_SLOTS:
    void reportsProgressAgainstTheAnnouncedLength();
    void estimatesTheProgressWithoutALength();
    void namesTheFileAfterTheRequestedAddress();
    void keepsAnOlderFileUntilTheNewOneIsComplete();
    void keepsAnOlderFileWhenItFails();
    void failsWithTheSystemsMessageIfTheDiskIsFull();
    void failsWithTheSystemsMessageIfTheFileCannotBeMoved();
    void sweepsLeftOverFilesButNotThoseOfRunningTransfers();

    void cancelSendsNoEventAndLeavesNoFile_data();
    void cancelSendsNoEventAndLeavesNoFile();
    void cancelBeforeTheFirstByteSendsNoEvent();
    void cancelDropsPostedEvents();
    void theDestructorWaitsUntilTheFileIsRemoved();
    void mayBeDestroyedInItsLastEvent();
};

void tst_Download::reportsProgressAgainstTheAnnouncedLength()
{
    start(serving({.body = pattern(1'000'000), .holdAfter = 250'000}));
    QTRY_VERIFY(!m_progress.isEmpty() && m_progress.last() == 0.25);
    QVERIFY(!m_ended);
    m_server->release();
    QTRY_VERIFY(m_ended);
    QCOMPARE(m_progress.last(), 1.0);
}

void tst_Download::estimatesTheProgressWithoutALength()
{
    start(
        serving({.body = pattern(6'000'000), .framing = Framing::chunked, .holdAfter = 5'000'000}));
    QTRY_VERIFY(!m_progress.isEmpty() && m_progress.last() == 0.005);
    m_server->release();
    QTRY_VERIFY(m_ended);
    QCOMPARE(m_progress.last(), 0.006);
}

void tst_Download::namesTheFileAfterTheRequestedAddress()
{
    HttpServer other;
    other.setAnswer(u"/cdn/3f2a"_s, {.body = "x"});
    m_server->setAnswer(u"/model.gguf"_s, HttpServer::redirect(other.url(u"/cdn/3f2a"_s)));
    finish(m_server->url(u"/model.gguf"_s));
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QCOMPARE(names(), QStringList{u"model.gguf"_s});
}

void tst_Download::keepsAnOlderFileUntilTheNewOneIsComplete()
{
    Files::write(path(u"model.gguf"_s), "old");
    const QByteArray body = pattern(600'000);
    start(serving({.body = body, .holdAfter = 500'000}));
    QTRY_VERIFY(!m_progress.isEmpty());
    QCOMPARE(Files::contents(path(u"model.gguf"_s)), QByteArray("old"));
    QCOMPARE(names().size(), 2);
    m_server->release();
    QTRY_VERIFY(m_ended);
    QVERIFY(Files::contents(path(u"model.gguf"_s)) == body);
    QCOMPARE(names().size(), 1);
}

void tst_Download::keepsAnOlderFileWhenItFails()
{
    Files::write(path(u"model.gguf"_s), "old");
    finish(serving({.body = pattern(600'000), .cutAfter = 500'000}));
    QVERIFY(m_failure);
    QCOMPARE(Files::contents(path(u"model.gguf"_s)), QByteArray("old"));
    QCOMPARE(names().size(), 1);
}

void tst_Download::failsWithTheSystemsMessageIfTheDiskIsFull()
{
    {
        const FileSizeLimit limit(1'234'567);
        finish(serving({.body = pattern(3'000'000)}));
    }
    QCOMPARE(m_failure.value_or(QString()), u"File too large"_s);
    QCOMPARE(names(), QStringList());
}

void tst_Download::failsWithTheSystemsMessageIfTheFileCannotBeMoved()
{
    // A name that is too long for a file, which fails only at the end.
    const QString name = QString(300, u'n');
    m_server->setAnswer(u'/' + name, {.body = "x"});
    finish(m_server->url(u'/' + name));
    QCOMPARE(m_failure.value_or(QString()), u"File name too long"_s);
    QCOMPARE(names(), QStringList());
}

void tst_Download::sweepsLeftOverFilesButNotThoseOfRunningTransfers()
{
    const QByteArray body = pattern(600'000);
    m_server->setAnswer(u"/slow.gguf"_s, {.body = body, .holdAfter = 500'000});
    m_server->setAnswer(u"/quick.gguf"_s, {.body = "x"});
    start(m_server->url(u"/slow.gguf"_s));
    QTRY_VERIFY(!m_progress.isEmpty());
    const std::unique_ptr<Download> slow = std::move(m_download);
    Files::write(path(u"3f2a.quillon-part"_s), "half a model");
    QCOMPARE(names().size(), 2);
    finish(m_server->url(u"/quick.gguf"_s));
    QCOMPARE(names().size(), 2);
    QVERIFY(!QFile::exists(path(u"3f2a.quillon-part"_s)));

    m_ended = false;
    m_server->release();
    QTRY_VERIFY(m_ended);
    QVERIFY2(!m_failure, qPrintable(m_failure.value_or(QString())));
    QVERIFY(Files::contents(path(u"slow.gguf"_s)) == body);
}

void tst_Download::cancelSendsNoEventAndLeavesNoFile_data()
{
    QTest::addColumn<Framing>("framing");
    QTest::newRow("with a length") << Framing::length;
    QTest::newRow("chunked") << Framing::chunked;
    QTest::newRow("up to the connection's end") << Framing::close;
}

void tst_Download::cancelSendsNoEventAndLeavesNoFile()
{
    QFETCH(const Framing, framing);
    start(serving({.body = pattern(600'000), .framing = framing, .holdAfter = 500'000}));
    QTRY_VERIFY(!m_progress.isEmpty());
    QCOMPARE(names().size(), 1);
    m_download->cancel();
    QTRY_VERIFY(m_download->isOver());
    QCOMPARE(names(), QStringList());
    QTRY_COMPARE(m_server->connections(), 0);
    QVERIFY(!m_ended);
    m_download->cancel(); // ignored
}

void tst_Download::cancelBeforeTheFirstByteSendsNoEvent()
{
    start(serving({.isSilent = true}));
    m_download->cancel();
    QTRY_VERIFY(m_download->isOver());
    QVERIFY(!m_ended);
    QVERIFY(m_progress.isEmpty());
    QCOMPARE(names(), QStringList());
}

void tst_Download::cancelDropsPostedEvents()
{
    // The event of the end is posted but not yet delivered.
    start(HttpServer::closedUrl(u"/model.gguf"_s));
    while (!m_download->isOver())
        std::this_thread::yield();
    m_download->cancel();
    m_download.reset();
    QCoreApplication::processEvents();
    QVERIFY(!m_ended);
}

void tst_Download::theDestructorWaitsUntilTheFileIsRemoved()
{
    start(serving({.body = pattern(600'000), .holdAfter = 500'000}));
    QTRY_VERIFY(!m_progress.isEmpty());
    m_download.reset();
    QCOMPARE(names(), QStringList());
}

void tst_Download::mayBeDestroyedInItsLastEvent()
{
    m_server->setAnswer(u"/model.gguf"_s, {.body = "x"});
    Download::Events own = events();
    own.done = [this] {
        m_download.reset();
        m_ended = true;
    };
    m_download = std::make_unique<Download>(m_server->url(u"/model.gguf"_s), m_folder->path(),
                                            timeout, std::move(own));
    QTRY_VERIFY(m_ended);
    QVERIFY(!m_failure);
    QCOMPARE(Files::contents(path(u"model.gguf"_s)), QByteArray("x"));
}

int main(int argc, char **argv)
{
    const PrivateHome home;
    const QCoreApplication app(argc, argv);
    tst_Download test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Download.moc"
