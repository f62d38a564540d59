#include "platform/linux/atspi/AtSpiBus.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
constexpr auto limit = 20s;

/// An application that accepts direct connections.
class PeerServer
{
public:
    explicit PeerServer(const QString &socket)
    {
        if (!m_server.listen(socket))
            qFatal("%s", qPrintable(m_server.errorString()));
    }

    [[nodiscard]] QByteArray address() const
    {
        return "unix:path=" + m_server.fullServerName().toUtf8();
    }

    /// Accepts the next connection and closes it.
    void hangUp()
    {
        QVERIFY(m_server.waitForNewConnection(eventually));
        std::unique_ptr<QLocalSocket>(m_server.nextPendingConnection())->abort();
    }

private:
    QLocalServer m_server;
};

// The number of open files of this process.
qsizetype openFiles()
{
    return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System).size();
}
} // namespace

class tst_AtSpiBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectionsAreKeptByApplicationAndName();
    void connectionsToApplicationsThatEndedAreLetGo();
    void addressesThatStartProgramsAreRefused_data();
    void addressesThatStartProgramsAreRefused();
};

void tst_AtSpiBus::connectionsAreKeptByApplicationAndName()
{
    const QTemporaryDir folder;
    const PeerServer application(folder.filePath(u"one"_s));
    AtSpiPeers peers;
    QVERIFY(!peers.find(ProcessId{7}, ":1.7"));
    peers.connect(ProcessId{7}, ":1.7", application.address(), limit);
    const std::shared_ptr<PrivateBus> peer = peers.find(ProcessId{7}, ":1.7");
    QVERIFY(peer && peer->isOpen());
    QVERIFY(!peers.find(ProcessId{8}, ":1.7"));
    QVERIFY(!peers.find(ProcessId{7}, ":1.8"));
    peers.drop(ProcessId{7}, ":1.7");
    QVERIFY(!peers.find(ProcessId{7}, ":1.7"));
}

void tst_AtSpiBus::connectionsToApplicationsThatEndedAreLetGo()
{
    const QTemporaryDir folder;
    PeerServer ended(folder.filePath(u"ended"_s));
    AtSpiPeers peers;
    peers.connect(ProcessId{1}, ":1.1", ended.address(), limit);
    ended.hangUp();
    const qsizetype before = openFiles();
    for (int i = 2; i < 20; ++i) {
        peers.connect(ProcessId{i}, ":1.1", ended.address(), limit);
        ended.hangUp();
    }
    QVERIFY(!peers.find(ProcessId{1}, ":1.1"));
    QCOMPARE(openFiles(), before);
}

void tst_AtSpiBus::addressesThatStartProgramsAreRefused_data()
{
    QTest::addColumn<QByteArray>("address");
    const QByteArray program = "unixexec:path=/bin/sleep,argv1=5";
    QTest::newRow("a program") << program;
    QTest::newRow("a program as the second way") << "unix:path=/nothing/here;" + program;
}

void tst_AtSpiBus::addressesThatStartProgramsAreRefused()
{
    QFETCH(const QByteArray, address);
    AtSpiPeers peers;
    peers.connect(ProcessId{7}, ":1.7", address, limit);
    QVERIFY(!peers.find(ProcessId{7}, ":1.7"));
}

QTEST_GUILESS_MAIN(tst_AtSpiBus)
#include "tst_AtSpiBus.moc"
