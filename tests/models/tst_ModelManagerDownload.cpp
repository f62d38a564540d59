#include "tests/models/ModelManagerFixture.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using State = ModelManager::State;

namespace {
constexpr auto killedChild = "--download-until-killed";
} // namespace

class tst_ModelManagerDownload : public ModelManagerFixture
{
    Q_OBJECT

public:
    /// Another process: prints a line once half of the download is on the disk, and then waits to
    /// be killed.
    static int downloadUntilKilled(const QUrl &url);

private Q_SLOTS:
    void downloadsAndLoads();
    void reportsADownloadedFileThatCannotBeLoaded();
    void downloadsFromEveryState_data();
    void downloadsFromEveryState();
    void ignoresDownloadWhileDownloading();
    void reportsAFailedDownload_data();
    void reportsAFailedDownload();
    void reportsAStalledDownload();
    void downloadsAgainAfterAFailure();
    void showsTheProgress();
    void showsTheProgressAgainAfterARefresh();
    void needsTheFileNameOfTheModel();

    void cancelChangesNoStateAndLeavesNoFile();
    void ignoresCancelWithoutADownload();
    void aCancelledDownloadDoesNotAffectTheNextOne();
    void destroyingTheManagerCancelsTheDownload();
    void theNextStartRemovesTheFileOfAKilledProcess();
};

void tst_ModelManagerDownload::downloadsAndLoads()
{
    const QByteArray body(300'000, 'x');
    makeManagerFor({.body = body});
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::ready, Case::loading, Case::loaded}));
    QCOMPARE(m_engine->loads(), QStringList{filePath(m_manager->selected())});
    QVERIFY(contents(m_manager->selected()) == body);
    QCOMPARE(filesInFolder(), QStringList{u"test.gguf"_s});
}

void tst_ModelManagerDownload::reportsADownloadedFileThatCannotBeLoaded()
{
    makeManagerFor({.body = "no model at all"});
    m_engine->setLoadError(InferenceError::loadFailed);
    m_manager->download();
    QTRY_COMPARE(m_manager->state(), State::failed(u"Couldn't load the model file."_s));
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::ready, Case::loading, Case::failed}));
}

void tst_ModelManagerDownload::downloadsFromEveryState_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded") << Case::loaded;
    QTest::newRow("failed") << Case::failed;
}

void tst_ModelManagerDownload::downloadsFromEveryState()
{
    QFETCH(const Case, from);
    bringInto(from);
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_server->requests().size(), 1);
    QCOMPARE(contents(m_manager->selected()), QByteArray("model"));
}

void tst_ModelManagerDownload::ignoresDownloadWhileDownloading()
{
    makeManagerFor(pausingAfter(300'000));
    m_manager->download();
    m_manager->download();
    QTRY_VERIFY(m_manager->state() == State::downloading(0.5));
    m_states.clear();
    m_manager->download();
    QCOMPARE(m_states.size(), 0);
    m_server->release();
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_server->requests().size(), 1);
}

void tst_ModelManagerDownload::reportsAFailedDownload_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("cutAfter");
    QTest::addColumn<QString>("message");
    QTest::newRow("404") << 404 << qint64{-1} << u"Download failed (HTTP 404)."_s;
    QTest::newRow("cut") << 200 << qint64{3} << u"Connection closed"_s;
}

void tst_ModelManagerDownload::reportsAFailedDownload()
{
    QFETCH(const int, status);
    QFETCH(const qint64, cutAfter);
    QFETCH(const QString, message);
    makeManagerFor({.status = status, .body = "A body", .cutAfter = cutAfter});
    m_manager->download();
    QTRY_COMPARE(m_manager->state(), State::failed(message));
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::failed}));
    QCOMPARE(filesInFolder(), QStringList());
    QCOMPARE(m_engine->loads(), QStringList());
}

void tst_ModelManagerDownload::reportsAStalledDownload()
{
    makeManagerFor({.isSilent = true}, 300ms);
    m_manager->download();
    QTRY_COMPARE(m_manager->state(), State::failed(u"The request timed out."_s));
    QCOMPARE(ModelManager::stallTimeout, 60s);
}

void tst_ModelManagerDownload::downloadsAgainAfterAFailure()
{
    makeManagerFor({.status = 503});
    m_manager->download();
    QTRY_COMPARE(m_manager->state().kind, Case::failed);
    m_server->setAnswer(u"/test.gguf"_s, {.body = "model"});
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE(m_manager->state(), State::loaded());
}

void tst_ModelManagerDownload::showsTheProgress()
{
    makeManagerFor(pausingAfter(150'000));
    m_manager->download();
    QTRY_VERIFY(m_manager->state() == State::downloading(0.25));
    m_server->release();
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QVERIFY(m_states.contains(State::downloading(1)));
    for (const State &state : std::as_const(m_states))
        QVERIFY(state.progress >= 0 && state.progress <= 1);
}

void tst_ModelManagerDownload::showsTheProgressAgainAfterARefresh()
{
    downloadHalf();
    m_manager->refresh();
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_states.clear();
    m_server->release();
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(cases().first(), Case::downloading);
}

void tst_ModelManagerDownload::needsTheFileNameOfTheModel()
{
    m_server->setAnswer(u"/other.gguf"_s, {.body = "model"});
    makeManager();
    m_manager->select(modelAt(m_server->url(u"/other.gguf"_s)));
    m_manager->download();
    QTRY_COMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(filesInFolder(), QStringList{u"other.gguf"_s});
    QCOMPARE(m_engine->loads(), QStringList());
}

void tst_ModelManagerDownload::cancelChangesNoStateAndLeavesNoFile()
{
    downloadHalf();
    m_manager->cancelTask();
    QCOMPARE(m_manager->state(), State::downloading(0.5)); // until the caller's refresh()
    m_manager->refresh();
    m_server->release();
    QTRY_COMPARE(m_server->connections(), 0);
    QTRY_COMPARE(filesInFolder(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(m_states, QList<State>{State::needsDownload()});
}

void tst_ModelManagerDownload::ignoresCancelWithoutADownload()
{
    bringInto(Case::failed);
    m_states.clear();
    m_manager->cancelTask();
    QCOMPARE(m_states.size(), 0);
}

void tst_ModelManagerDownload::aCancelledDownloadDoesNotAffectTheNextOne()
{
    downloadHalf();
    m_manager->cancelTask();
    m_server->setAnswer(u"/test.gguf"_s, pausingAfter(60'000));
    m_manager->download();
    m_states.clear();
    QTRY_VERIFY(m_manager->state() == State::downloading(0.1));
    QTRY_COMPARE(m_server->connections(), 1);
    QCOMPARE(cases(), QList<Case>{Case::downloading});
    for (const State &state : std::as_const(m_states))
        QVERIFY(state.progress <= 0.1);
    m_server->release();
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(filesInFolder(), QStringList{u"test.gguf"_s});
}

void tst_ModelManagerDownload::destroyingTheManagerCancelsTheDownload()
{
    downloadHalf();
    m_manager.reset();
    QCOMPARE(filesInFolder(), QStringList());
    QTRY_COMPARE(m_server->connections(), 0);
}

void tst_ModelManagerDownload::theNextStartRemovesTheFileOfAKilledProcess()
{
    m_server->setAnswer(u"/test.gguf"_s, pausingAfter(300'000));
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QString::fromLatin1(killedChild), m_server->url(u"/test.gguf"_s).toString()});
    QTRY_VERIFY(child.canReadLine()); // half of it is there
    QCOMPARE(filesInFolder().size(), 1);

    // The file of a running process is kept.
    makeManager();
    QCOMPARE(filesInFolder().size(), 1);

    child.kill();
    QTRY_COMPARE(child.state(), QProcess::NotRunning);
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);
    QCOMPARE(filesInFolder().size(), 1);
    makeManager();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(filesInFolder(), QStringList());
}

int tst_ModelManagerDownload::downloadUntilKilled(const QUrl &url)
{
    ModelManager manager(std::make_shared<ScriptedEngine>());
    manager.select(modelAt(url));
    QObject::connect(&manager, &ModelManager::stateChanged, &manager, [&manager] {
        if (manager.state() == State::downloading(0.5)) {
            std::puts("half");
            std::fflush(stdout);
        }
    });
    manager.download();
    return QCoreApplication::exec();
}

int main(int argc, char **argv)
{
    const bool isChild = argc > 2 && QByteArray(argv[1]) == killedChild;
    std::optional<PrivateHome> home;
    if (!isChild)
        home.emplace();
    const QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon Tests"_s);
    QCoreApplication::setApplicationName(u"tst_ModelManagerDownload"_s);
    if (isChild)
        return tst_ModelManagerDownload::downloadUntilKilled(QUrl(QString::fromLocal8Bit(argv[2])));
    tst_ModelManagerDownload test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ModelManagerDownload.moc"
