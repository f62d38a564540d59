#include "models/ModelManager.h"

#include "inference/LlamaEngine.h"
#include "tests/support/HttpServer.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/ScriptedEngine.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <cstdio>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;
using Answer = HttpServer::Answer;
using Case = ModelManager::State::Case;
using State = ModelManager::State;

namespace {
constexpr int eventually = 30'000;
constexpr auto killedChild = "--download-until-killed";

const QString choiceKey = u"selectedModel"_s;

QString modelsFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/Quillon/Models"_s;
}

QString place(const LocalModel &model)
{
    return modelsFolder() + u'/' + model.fileName;
}

void putFile(const LocalModel &model, const QByteArray &bytes = "old")
{
    QVERIFY(QDir().mkpath(modelsFolder()));
    QFile file(place(model));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray contents(const LocalModel &model)
{
    QFile file(place(model));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

QStringList filesInFolder()
{
    return QDir(modelsFolder())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

/// Of 600,000 bytes.
Answer pausingAfter(qint64 bytes)
{
    return {.body = QByteArray(600'000, 'x'), .holdAfter = bytes};
}

LocalModel modelAt(const QUrl &url, const QString &fileName = u"test.gguf"_s)
{
    return {u"test"_s, u"Test"_s, QString(), url, fileName, 1};
}

const LocalModel &first()
{
    return LocalModel::catalog().at(0);
}

const LocalModel &second()
{
    return LocalModel::catalog().at(1);
}
} // namespace

class ModelManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void statesAreEqualByCaseAndPayload();
    void keepsModelsInTheUsersDataFolder();
    void makesTheFolderEachTime();
    void livesWithoutAFolder();

    void startsFromTheDisk_data();
    void startsFromTheDisk();
    void startsWithTheRememberedChoice_data();
    void startsWithTheRememberedChoice();
    void startsWithNothingElse();
    void startsByTidyingUp();
    void hasTheLlamaEngineByItself();

    void refreshOverwritesEveryState_data();
    void refreshOverwritesEveryState();
    void refreshTakesNothingThatMakesAReaderWait_data();
    void refreshTakesNothingThatMakesAReaderWait();
    void announcesEachChangeBeforeAndAfter();

    void selectingTheSelectedModelDoesNothing();
    void anyFieldMakesAnotherModel();
    void selectingAModelWithoutAFileWaitsForTheUser();
    void selectingAModelWithAFileLoadsIt();
    void selectingLeavesAFailure();
    void selectingDuringADownloadCancelsIt();
    void selectingWhileTheOldModelLastsShowsLoaded();
    void aLoadThatEndsAfterAnotherChoiceChangesNothing_data();
    void aLoadThatEndsAfterAnotherChoiceChangesNothing();
    void theChoiceIsRemembered();

    void downloadsAndLoads();
    void downloadsAndCannotLoad();
    void downloadsOverAnOlderFile();
    void downloadsFromEveryState_data();
    void downloadsFromEveryState();
    void downloadTwiceIsOneTransfer();
    void downloadFails_data();
    void downloadFails();
    void downloadFailsOnAStall();
    void downloadFailsOnAFullDisk();
    void downloadCanBeTriedAgain();
    void downloadShowsItsProgress();
    void downloadShowsAGuessWithoutALength();
    void progressComesBackAfterARefresh();
    void aFileOfAnotherNameIsNotTheModel();

    void cancelIsSilentAndLeavesNothing();
    void cancelWithoutADownloadDoesNothing();
    void aNewDownloadIsUntouchedByTheCancelledOne();
    void destroyingTheManagerEndsTheDownload();
    void destroyingTheManagerForgetsTheLoad();
    void aKillLeavesNothingForTheNextStart();

    void loadIfNeededShowsALoadedEngine_data();
    void loadIfNeededShowsALoadedEngine();
    void loadIfNeededDoesNothingWithoutAReadyFile_data();
    void loadIfNeededDoesNothingWithoutAReadyFile();
    void loadIfNeededLoads_data();
    void loadIfNeededLoads();
    void loadIfNeededTellsWhyItFailed_data();
    void loadIfNeededTellsWhyItFailed();
    void loadIfNeededWhileLoadingDoesNotWait();

private:
    void makeManager(std::chrono::milliseconds patience = 30s);
    /// A manager whose selected model comes from the server's answer.
    void makeManagerFor(const Answer &answer, std::chrono::milliseconds patience = 30s);
    /// Downloads a model until half of it is there; the server then waits for its release.
    void downloadHalf();
    void bringInto(Case state);
    void load() { QCoro::waitFor(m_manager->loadIfNeeded()); }
    QList<Case> cases() const;

    std::shared_ptr<ScriptedEngine> m_engine;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<ModelManager> m_manager;
    QList<State> m_states; ///< Since it was made, without the first.
};

Q_DECLARE_METATYPE(ModelManager::State)

void ModelManagerTest::init()
{
    QSettings().clear();
    QFile::remove(modelsFolder());
    QDir(modelsFolder()).removeRecursively();
    m_engine = std::make_shared<ScriptedEngine>();
    m_server = std::make_unique<HttpServer>();
}

void ModelManagerTest::cleanup()
{
    m_manager.reset();
    m_engine.reset();
    m_server.reset();
}

void ModelManagerTest::makeManager(std::chrono::milliseconds patience)
{
    m_manager = std::make_unique<ModelManager>(m_engine, patience);
    m_states.clear();
    connect(m_manager.get(), &ModelManager::stateChanged, this,
            [this] { m_states += m_manager->state(); });
}

void ModelManagerTest::makeManagerFor(const Answer &answer, std::chrono::milliseconds patience)
{
    m_server->setAnswer(u"/test.gguf"_s, answer);
    makeManager(patience);
    m_manager->select(modelAt(m_server->url(u"/test.gguf"_s)));
    m_states.clear();
}

void ModelManagerTest::downloadHalf()
{
    makeManagerFor(pausingAfter(300'000));
    m_manager->download();
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->state() == State::downloading(0.5), eventually);
    m_states.clear();
}

// Over an engine that holds nothing, but for `loaded`.
void ModelManagerTest::bringInto(Case state)
{
    const Answer answer{.body = "model"};
    switch (state) {
    case Case::needsDownload:
        makeManagerFor(answer);
        break;
    case Case::downloading:
        makeManagerFor({.isSilent = true});
        m_manager->download();
        break;
    case Case::ready:
        makeManagerFor(answer);
        putFile(m_manager->selected());
        m_manager->refresh();
        break;
    case Case::loading:
        bringInto(Case::ready);
        m_engine->holdLoads();
        static_cast<void>(m_manager->loadIfNeeded()); // It goes on by itself.
        break;
    case Case::loaded:
        bringInto(Case::ready);
        load();
        break;
    case Case::failed:
        bringInto(Case::ready);
        m_engine->setLoadError(InferenceError::contextFailed);
        load();
        m_engine->setLoadError(std::nullopt);
        break;
    }
    QCOMPARE(m_manager->state().kind, state);
}

QList<Case> ModelManagerTest::cases() const
{
    QList<Case> result;
    for (const State &state : m_states) {
        if (result.isEmpty() || result.last() != state.kind)
            result += state.kind;
    }
    return result;
}

void ModelManagerTest::statesAreEqualByCaseAndPayload()
{
    QVERIFY(State::ready() == State::ready());
    QVERIFY(State::ready() != State::loaded());
    QVERIFY(State::downloading(0.5) == State::downloading(0.5));
    QVERIFY(State::downloading(0.5) != State::downloading(0.25));
    QVERIFY(State::failed(u"a"_s) == State::failed(u"a"_s));
    QVERIFY(State::failed(u"a"_s) != State::failed(u"b"_s));
}

void ModelManagerTest::keepsModelsInTheUsersDataFolder()
{
    QCOMPARE(ModelManager::directory(), modelsFolder());
    QVERIFY(ModelManager::directory().startsWith(QDir::homePath()));
}

void ModelManagerTest::makesTheFolderEachTime()
{
    for (int i = 0; i < 2; ++i) {
        QVERIFY(QDir(QFileInfo(modelsFolder()).path()).removeRecursively());
        QVERIFY(!QFileInfo::exists(modelsFolder()));
        QVERIFY(QFileInfo(ModelManager::directory()).isDir());
        QVERIFY(QFileInfo(ModelManager::directory()).isDir());
    }
}

void ModelManagerTest::livesWithoutAFolder()
{
    // A file stands where the folder would.
    QVERIFY(QDir().mkpath(QFileInfo(modelsFolder()).path()));
    QFile file(modelsFolder());
    QVERIFY(file.open(QIODevice::WriteOnly));
    makeManagerFor({.body = "model"});
    QCOMPARE(ModelManager::directory(), modelsFolder());
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::failed(u"Not a directory"_s), eventually);
}

void ModelManagerTest::startsFromTheDisk_data()
{
    QTest::addColumn<bool>("present");
    QTest::addColumn<Case>("state");
    QTest::newRow("file present") << true << Case::ready;
    QTest::newRow("file absent") << false << Case::needsDownload;
}

void ModelManagerTest::startsFromTheDisk()
{
    QFETCH(const bool, present);
    QFETCH(const Case, state);
    if (present)
        putFile(first(), QByteArray()); // Its size does not matter.
    putFile(second());
    makeManager();
    QCOMPARE(m_manager->state().kind, state);
}

void ModelManagerTest::startsWithTheRememberedChoice_data()
{
    QTest::addColumn<QVariant>("choice");
    QTest::addColumn<int>("index");
    QTest::newRow("nothing") << QVariant() << 0;
    QTest::newRow("the first") << QVariant(u"qwen2.5-1.5b"_s) << 0;
    QTest::newRow("the second") << QVariant(u"llama3.2-3b"_s) << 1;
    QTest::newRow("unknown") << QVariant(u"llama3.2-70b"_s) << 0;
    QTest::newRow("in capitals") << QVariant(u"LLAMA3.2-3B"_s) << 0;
    QTest::newRow("with a space") << QVariant(u"llama3.2-3b "_s) << 0;
    QTest::newRow("empty") << QVariant(QString()) << 0;
    QTest::newRow("no text") << QVariant(QStringList{u"llama3.2-3b"_s, u"llama3.2-3b"_s}) << 0;
}

void ModelManagerTest::startsWithTheRememberedChoice()
{
    QFETCH(const QVariant, choice);
    QFETCH(const int, index);
    if (choice.isValid())
        QSettings().setValue(choiceKey, choice);
    makeManager();
    QCOMPARE(m_manager->selected().id, LocalModel::catalog().at(index).id);
    QVERIFY(m_manager->selected() == LocalModel::catalog().at(index));
}

void ModelManagerTest::startsWithNothingElse()
{
    putFile(first());
    makeManager();
    QCOMPARE(m_manager->engine().get(), m_engine.get());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::ready());
    QCOMPARE(m_engine->loads(), QStringList());
    QCOMPARE(m_engine->unloads(), 0);
    QVERIFY(!QSettings().contains(choiceKey));
}

void ModelManagerTest::startsByTidyingUp()
{
    LocalModel stale = first();
    stale.fileName = u"0123456789abcdef.quillon-part"_s;
    putFile(stale);
    makeManager();
    QCOMPARE(filesInFolder(), QStringList());
}

void ModelManagerTest::hasTheLlamaEngineByItself()
{
    QSettings().setValue(choiceKey, second().id);
    putFile(second(), "no model at all");
    ModelManager manager;
    QVERIFY(std::dynamic_pointer_cast<LlamaEngine>(manager.engine()));
    QVERIFY(!manager.engine()->isLoaded());
    QCOMPARE(manager.state(), State::ready());
    QVERIFY(manager.selected() == second());
    QCoro::waitFor(manager.loadIfNeeded());
    QCOMPARE(manager.state(), State::failed(u"Couldn't load the model file."_s));
}

void ModelManagerTest::refreshOverwritesEveryState_data()
{
    QTest::addColumn<Case>("from");
    QTest::addColumn<bool>("present");
    const std::pair<const char *, Case> all[] = {
        {"needsDownload", Case::needsDownload},
        {"downloading", Case::downloading},
        {"ready", Case::ready},
        {"loading", Case::loading},
        {"loaded", Case::loaded},
        {"failed", Case::failed},
    };
    for (const auto &[name, from] : all) {
        QTest::addRow("%s, file present", name) << from << true;
        QTest::addRow("%s, file absent", name) << from << false;
    }
}

void ModelManagerTest::refreshOverwritesEveryState()
{
    QFETCH(const Case, from);
    QFETCH(const bool, present);
    bringInto(from);
    if (present)
        putFile(m_manager->selected());
    else
        QFile::remove(place(m_manager->selected()));
    m_manager->refresh();
    QCOMPARE(m_manager->state(), present ? State::ready() : State::needsDownload());

    if (from == Case::loading) {
        m_engine->releaseLoad();
        QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    }
}

void ModelManagerTest::refreshTakesNothingThatMakesAReaderWait_data()
{
    QTest::addColumn<std::function<bool(const QString &)>>("make");
    QTest::addColumn<Case>("state");
    using Make = std::function<bool(const QString &)>;
    const auto linkTo = [](const QString &target) {
        return Make([target](const QString &path) { return QFile::link(target, path); });
    };
    QTest::newRow("folder") << Make([](const QString &path) { return QDir().mkdir(path); })
                            << Case::ready;
    QTest::newRow("named pipe") << Make([](const QString &path) {
        return mkfifo(qPrintable(path), 0600) == 0;
    }) << Case::needsDownload;
    QTest::newRow("socket") << Make([](const QString &path) {
        return mknod(qPrintable(path), S_IFSOCK | 0600, 0) == 0;
    }) << Case::needsDownload;
    QTest::newRow("link to a device") << linkTo(u"/dev/zero"_s) << Case::needsDownload;
    QTest::newRow("link to a folder") << linkTo(u"/tmp"_s) << Case::ready;
    QTest::newRow("link to nothing") << linkTo(u"/nowhere"_s) << Case::needsDownload;
    QTest::newRow("link to itself")
        << Make([](const QString &path) { return QFile::link(path, path); }) << Case::needsDownload;
    QTest::newRow("link to a file")
        << linkTo(QCoreApplication::applicationFilePath()) << Case::ready;
}

void ModelManagerTest::refreshTakesNothingThatMakesAReaderWait()
{
    QFETCH(const std::function<bool(const QString &)>, make);
    QFETCH(const Case, state);
    makeManager();
    QVERIFY(make(place(first())));
    m_manager->refresh();
    QCOMPARE(m_manager->state().kind, state);
    QCOMPARE(ModelManager::hasFile(first()), state == Case::ready);
}

void ModelManagerTest::announcesEachChangeBeforeAndAfter()
{
    putFile(second());
    makeManager();
    QStringList told;
    const auto tell = [this, &told](const char *what) {
        told += u"%1 %2 %3"_s.arg(QString::fromLatin1(what), m_manager->selected().id)
                    .arg(static_cast<int>(m_manager->state().kind));
    };
    connect(m_manager.get(), &ModelManager::stateWillChange, this, [&] { tell("state from"); });
    connect(m_manager.get(), &ModelManager::stateChanged, this, [&] { tell("state to"); });
    connect(m_manager.get(), &ModelManager::selectedWillChange, this,
            [&] { tell("selected from"); });
    connect(m_manager.get(), &ModelManager::selectedChanged, this, [&] { tell("selected to"); });
    m_manager->select(second());
    QCOMPARE(told, (QStringList{u"selected from qwen2.5-1.5b 0"_s, u"selected to llama3.2-3b 0"_s,
                                u"state from llama3.2-3b 0"_s, u"state to llama3.2-3b 2"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    m_manager->disconnect(this);
}

void ModelManagerTest::selectingTheSelectedModelDoesNothing()
{
    makeManager();
    const QSignalSpy selected(m_manager.get(), &ModelManager::selectedWillChange);
    putFile(first());
    m_manager->select(LocalModel(first()));
    m_manager->select(m_manager->selected());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload()); // Not even a refresh.
    QCOMPARE(m_states.size(), 0);
    QCOMPARE(selected.count(), 0);
    QCOMPARE(m_engine->unloads(), 0);
    QVERIFY(!QSettings().contains(choiceKey));
}

void ModelManagerTest::anyFieldMakesAnotherModel()
{
    makeManager();
    LocalModel other = first();
    ++other.sizeMB;
    m_manager->select(other);
    QCOMPARE(m_engine->unloads(), 1);
    QVERIFY(m_manager->selected() == other);
    QCOMPARE(QSettings().value(choiceKey).toString(), first().id);
}

void ModelManagerTest::selectingAModelWithoutAFileWaitsForTheUser()
{
    putFile(first());
    makeManager();
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_engine->unloads(), 1);
    QVERIFY(m_manager->selected() == second());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_engine->loads(), QStringList{place(first())});
    QCOMPARE(filesInFolder(), QStringList{first().fileName});
}

void ModelManagerTest::selectingAModelWithAFileLoadsIt()
{
    putFile(second());
    makeManager();
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::ready());
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(cases(), (QList<Case>{Case::ready, Case::loading, Case::loaded}));
    QCOMPARE(m_engine->loads(), QStringList{place(second())});
}

void ModelManagerTest::selectingLeavesAFailure()
{
    bringInto(Case::failed);
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
}

void ModelManagerTest::selectingDuringADownloadCancelsIt()
{
    downloadHalf();
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connections(), 0, eventually);
    QTRY_COMPARE_WITH_TIMEOUT(filesInFolder(), QStringList(), eventually);
    QCoreApplication::processEvents();
    QCOMPARE(cases(), QList<Case>{Case::needsDownload});
}

void ModelManagerTest::selectingWhileTheOldModelLastsShowsLoaded()
{
    putFile(first());
    putFile(second());
    makeManager();
    load();
    m_engine->holdUnloads(); // A generation is running.
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::ready());
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(m_engine->loads(), QStringList{place(first())});

    m_engine->setLoaded(false); // The release came through.
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_engine->loads(), (QStringList{place(first()), place(second())}));
}

void ModelManagerTest::aLoadThatEndsAfterAnotherChoiceChangesNothing_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("well") << false;
    QTest::newRow("badly") << true;
}

void ModelManagerTest::aLoadThatEndsAfterAnotherChoiceChangesNothing()
{
    QFETCH(const bool, fails);
    bringInto(Case::loading);
    m_engine->holdUnloads();
    if (fails)
        m_engine->setLoadError(InferenceError::loadFailed);
    m_manager->select(second());
    m_states.clear();
    m_engine->releaseLoad();
    QTRY_COMPARE_WITH_TIMEOUT(m_engine->isLoaded(), !fails, eventually);
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_states.size(), 0);
}

void ModelManagerTest::theChoiceIsRemembered()
{
    makeManager();
    m_manager->select(second());
    QCOMPARE(QSettings().value(choiceKey), QVariant(u"llama3.2-3b"_s));
    makeManager();
    QVERIFY(m_manager->selected() == second());
    m_manager->select(first());
    makeManager();
    QVERIFY(m_manager->selected() == first());
}

void ModelManagerTest::downloadsAndLoads()
{
    const QByteArray body(300'000, 'x');
    makeManagerFor({.body = body});
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::ready, Case::loading, Case::loaded}));
    QCOMPARE(m_engine->loads(), QStringList{place(m_manager->selected())});
    QVERIFY(contents(m_manager->selected()) == body);
    QCOMPARE(filesInFolder(), QStringList{u"test.gguf"_s});
}

void ModelManagerTest::downloadsAndCannotLoad()
{
    makeManagerFor({.body = "no model at all"});
    m_engine->setLoadError(InferenceError::loadFailed);
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::failed(u"Couldn't load the model file."_s),
                              eventually);
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::ready, Case::loading, Case::failed}));
}

void ModelManagerTest::downloadsOverAnOlderFile()
{
    makeManagerFor({.body = "new"});
    putFile(m_manager->selected(), "older and longer");
    m_manager->refresh();
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(contents(m_manager->selected()), QByteArray("new"));
}

void ModelManagerTest::downloadsFromEveryState_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded") << Case::loaded;
    QTest::newRow("failed") << Case::failed;
}

void ModelManagerTest::downloadsFromEveryState()
{
    QFETCH(const Case, from);
    bringInto(from);
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(m_server->requests().size(), 1);
    QCOMPARE(contents(m_manager->selected()), QByteArray("model"));
}

void ModelManagerTest::downloadTwiceIsOneTransfer()
{
    makeManagerFor(pausingAfter(300'000));
    m_manager->download();
    m_manager->download();
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->state() == State::downloading(0.5), eventually);
    m_states.clear();
    m_manager->download();
    QCOMPARE(m_states.size(), 0);
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(m_server->requests().size(), 1);
}

void ModelManagerTest::downloadFails_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("cutAfter");
    QTest::addColumn<QString>("message");
    QTest::newRow("404") << 404 << qint64{-1} << u"Download failed (HTTP 404)."_s;
    QTest::newRow("400") << 400 << qint64{-1} << u"Download failed (HTTP 400)."_s;
    QTest::newRow("500") << 500 << qint64{-1} << u"Download failed (HTTP 500)."_s;
    QTest::newRow("cut") << 200 << qint64{3} << u"Connection closed"_s;
}

void ModelManagerTest::downloadFails()
{
    QFETCH(const int, status);
    QFETCH(const qint64, cutAfter);
    QFETCH(const QString, message);
    makeManagerFor({.status = status, .body = "A body", .cutAfter = cutAfter});
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::failed(message), eventually);
    QCOMPARE(cases(), (QList<Case>{Case::downloading, Case::failed}));
    QCOMPARE(filesInFolder(), QStringList());
    QCOMPARE(m_engine->loads(), QStringList());
}

void ModelManagerTest::downloadFailsOnAStall()
{
    makeManagerFor({.isSilent = true}, 300ms);
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::failed(u"The request timed out."_s),
                              eventually);
    QCOMPARE(ModelManager::stallTimeout, 60s);
}

void ModelManagerTest::downloadFailsOnAFullDisk()
{
    makeManagerFor({.body = QByteArray(3'000'000, 'x')});
    const auto usualHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small = {1'000'000, usual.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
    m_manager->download();
    const bool failed =
        QTest::qWaitFor([this] { return m_manager->state().kind == Case::failed; }, eventually);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &usual), 0);
    std::signal(SIGXFSZ, usualHandler);
    QVERIFY(failed);
    QCOMPARE(m_manager->state(), State::failed(u"File too large"_s));
    QCOMPARE(filesInFolder(), QStringList());
}

void ModelManagerTest::downloadCanBeTriedAgain()
{
    makeManagerFor({.status = 503});
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state().kind, Case::failed, eventually);
    m_server->setAnswer(u"/test.gguf"_s, {.body = "model"});
    m_manager->download();
    QCOMPARE(m_manager->state(), State::downloading(0));
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
}

void ModelManagerTest::downloadShowsItsProgress()
{
    makeManagerFor(pausingAfter(150'000));
    m_manager->download();
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->state() == State::downloading(0.25), eventually);
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QVERIFY(m_states.contains(State::downloading(1)));
    for (const State &state : std::as_const(m_states))
        QVERIFY(state.progress >= 0 && state.progress <= 1);
}

void ModelManagerTest::downloadShowsAGuessWithoutALength()
{
    makeManagerFor({.body = QByteArray(2'000'000, 'x'),
                    .framing = HttpServer::Framing::close,
                    .holdAfter = 1'000'000});
    m_manager->download();
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->state() == State::downloading(0.001), eventually);
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
}

void ModelManagerTest::progressComesBackAfterARefresh()
{
    downloadHalf();
    m_manager->refresh();
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_states.clear();
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(cases().first(), Case::downloading);
}

void ModelManagerTest::aFileOfAnotherNameIsNotTheModel()
{
    m_server->setAnswer(u"/other.gguf"_s, {.body = "model"});
    makeManager();
    m_manager->select(modelAt(m_server->url(u"/other.gguf"_s)));
    m_manager->download();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::needsDownload(), eventually);
    QCOMPARE(filesInFolder(), QStringList{u"other.gguf"_s});
    QCOMPARE(m_engine->loads(), QStringList());
}

void ModelManagerTest::cancelIsSilentAndLeavesNothing()
{
    downloadHalf();
    m_manager->cancelTask();
    QCOMPARE(m_manager->state(), State::downloading(0.5)); // Up to the caller's refresh.
    m_manager->refresh();
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connections(), 0, eventually);
    QTRY_COMPARE_WITH_TIMEOUT(filesInFolder(), QStringList(), eventually);
    QCoreApplication::processEvents();
    QCOMPARE(m_states, QList<State>{State::needsDownload()});
}

void ModelManagerTest::cancelWithoutADownloadDoesNothing()
{
    bringInto(Case::failed);
    m_states.clear();
    m_manager->cancelTask();
    QCOMPARE(m_states.size(), 0);
}

void ModelManagerTest::aNewDownloadIsUntouchedByTheCancelledOne()
{
    downloadHalf();
    m_manager->cancelTask();
    m_server->setAnswer(u"/test.gguf"_s, pausingAfter(60'000));
    m_manager->download();
    m_states.clear();
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->state() == State::downloading(0.1), eventually);
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connections(), 1, eventually);
    QCOMPARE(cases(), QList<Case>{Case::downloading});
    for (const State &state : std::as_const(m_states))
        QVERIFY(state.progress <= 0.1);
    m_server->release();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(filesInFolder(), QStringList{u"test.gguf"_s});
}

void ModelManagerTest::destroyingTheManagerEndsTheDownload()
{
    downloadHalf();
    m_manager.reset();
    QCOMPARE(filesInFolder(), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connections(), 0, eventually);
}

void ModelManagerTest::destroyingTheManagerForgetsTheLoad()
{
    bringInto(Case::loading);
    m_manager.reset();
    m_engine->releaseLoad();
    QTRY_VERIFY_WITH_TIMEOUT(m_engine->isLoaded(), eventually);
    QCoreApplication::processEvents();
}

void ModelManagerTest::aKillLeavesNothingForTheNextStart()
{
    m_server->setAnswer(u"/test.gguf"_s, pausingAfter(300'000));
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QString::fromLatin1(killedChild), m_server->url(u"/test.gguf"_s).toString()});
    QTRY_VERIFY_WITH_TIMEOUT(child.canReadLine(), eventually); // Half of it is there.
    QCOMPARE(filesInFolder().size(), 1);

    // While the other program lives, its file is left alone.
    makeManager();
    QCOMPARE(filesInFolder().size(), 1);

    child.kill();
    QTRY_COMPARE_WITH_TIMEOUT(child.state(), QProcess::NotRunning, eventually);
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);
    QCOMPARE(filesInFolder().size(), 1);
    makeManager();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(filesInFolder(), QStringList());
}

void ModelManagerTest::loadIfNeededShowsALoadedEngine_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("downloading") << Case::downloading;
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded") << Case::loaded;
    QTest::newRow("failed") << Case::failed;
}

void ModelManagerTest::loadIfNeededShowsALoadedEngine()
{
    QFETCH(const Case, from);
    bringInto(from);
    const QStringList loads = m_engine->loads();
    m_engine->setLoaded(true);
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_engine->loads(), loads);
}

void ModelManagerTest::loadIfNeededDoesNothingWithoutAReadyFile_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("downloading") << Case::downloading;
    QTest::newRow("failed") << Case::failed;
}

void ModelManagerTest::loadIfNeededDoesNothingWithoutAReadyFile()
{
    QFETCH(const Case, from);
    bringInto(from);
    const QStringList loads = m_engine->loads();
    const State before = m_manager->state();
    putFile(m_manager->selected());
    m_states.clear();
    load();
    QCOMPARE(m_manager->state(), before);
    QCOMPARE(m_states.size(), 0);
    QCOMPARE(m_engine->loads(), loads);
}

void ModelManagerTest::loadIfNeededLoads_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded over an engine that was unloaded") << Case::loaded;
}

void ModelManagerTest::loadIfNeededLoads()
{
    QFETCH(const Case, from);
    bringInto(from);
    m_engine->setLoaded(false);
    m_states.clear();
    const qsizetype loads = m_engine->loads().size();
    load();
    QCOMPARE(m_states, (QList<State>{State::loading(), State::loaded()}));
    QCOMPARE(m_engine->loads().size(), loads + 1);
    QCOMPARE(m_engine->loads().last(), place(m_manager->selected()));
}

void ModelManagerTest::loadIfNeededTellsWhyItFailed_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("message");
    QTest::newRow("file") << static_cast<int>(InferenceError::loadFailed)
                          << u"Couldn't load the model file."_s;
    QTest::newRow("context") << static_cast<int>(InferenceError::contextFailed)
                             << u"Couldn't create an inference context."_s;
}

void ModelManagerTest::loadIfNeededTellsWhyItFailed()
{
    QFETCH(const int, error);
    QFETCH(const QString, message);
    bringInto(Case::ready);
    m_states.clear();
    m_engine->setLoadError(InferenceError(static_cast<InferenceError::Case>(error)));
    load();
    QCOMPARE(m_states, (QList<State>{State::loading(), State::failed(message)}));
    QVERIFY(!m_engine->isLoaded());
}

void ModelManagerTest::loadIfNeededWhileLoadingDoesNotWait()
{
    bringInto(Case::loading);
    load(); // Comes back although the load is held.
    QCOMPARE(m_manager->state(), State::loading());
    QCOMPARE(m_engine->loads().size(), 1);
    m_engine->releaseLoad();
    QTRY_COMPARE_WITH_TIMEOUT(m_manager->state(), State::loaded(), eventually);
}

// A program of its own: says a line once half of the download is on the disk, then waits to be
// killed.
static int downloadUntilKilled(QCoreApplication &app, const QUrl &url)
{
    ModelManager manager(std::make_shared<ScriptedEngine>());
    manager.select(modelAt(url));
    QObject::connect(&manager, &ModelManager::stateChanged, &app, [&manager] {
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
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon Tests"_s);
    QCoreApplication::setApplicationName(u"tst_ModelManager"_s);
    if (isChild)
        return downloadUntilKilled(app, QUrl(QString::fromLocal8Bit(argv[2])));
    ModelManagerTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ModelManager.moc"
