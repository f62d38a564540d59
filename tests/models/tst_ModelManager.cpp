#include "inference/LlamaEngine.h"
#include "tests/models/ModelManagerFixture.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using State = ModelManager::State;

namespace {
const QString choiceKey = u"selectedModel"_s;
} // namespace

class tst_ModelManager : public ModelManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
    void statesAreEqualByCaseAndPayload();
    void keepsModelsInTheUsersDataFolder();
    void createsTheFolderEachTime();
    void reportsAFolderThatCannotBeCreated();

    void readsItsStateFromTheDisk_data();
    void readsItsStateFromTheDisk();
    void restoresTheChoice_data();
    void restoresTheChoice();
    void doesNothingElseAtStart();
    void removesLeftOverFilesAtStart();
    void usesTheLlamaEngineByDefault();

    void refreshOverwritesEveryState_data();
    void refreshOverwritesEveryState();
    void refreshIgnoresFilesThatBlockTheirReader_data();
    void refreshIgnoresFilesThatBlockTheirReader();
    void hasSignalsBeforeAndAfterEachChange();

    void selectingTheSelectedModelDoesNothing();
    void aModelThatDiffersInAnyFieldIsAnother();
    void selectingAModelWithoutAFileNeedsADownload();
    void selectingAModelWithAFileLoadsIt();
    void selectingClearsAFailure();
    void selectingDuringADownloadCancelsIt();
    void selectingDuringAGenerationShowsTheLoadedEngine();
    void ignoresALoadThatEndsAfterAnotherChoice_data();
    void ignoresALoadThatEndsAfterAnotherChoice();
    void storesTheChoice();
};

void tst_ModelManager::statesAreEqualByCaseAndPayload()
{
    QVERIFY(State::ready() == State::ready());
    QVERIFY(State::ready() != State::loaded());
    QVERIFY(State::downloading(0.5) == State::downloading(0.5));
    QVERIFY(State::downloading(0.5) != State::downloading(0.25));
    QVERIFY(State::failed(u"a"_s) == State::failed(u"a"_s));
    QVERIFY(State::failed(u"a"_s) != State::failed(u"b"_s));
}

void tst_ModelManager::keepsModelsInTheUsersDataFolder()
{
    QCOMPARE(ModelManager::directory(), modelsFolder());
    QVERIFY(ModelManager::directory().startsWith(QDir::homePath()));
}

void tst_ModelManager::createsTheFolderEachTime()
{
    for (int i = 0; i < 2; ++i) {
        QVERIFY(QDir(QFileInfo(modelsFolder()).path()).removeRecursively());
        QVERIFY(!QFileInfo::exists(modelsFolder()));
        QVERIFY(QFileInfo(ModelManager::directory()).isDir());
        QVERIFY(QFileInfo(ModelManager::directory()).isDir());
    }
}

void tst_ModelManager::reportsAFolderThatCannotBeCreated()
{
    // There is a file at the folder's path.
    QVERIFY(QDir().mkpath(QFileInfo(modelsFolder()).path()));
    QFile file(modelsFolder());
    QVERIFY(file.open(QIODevice::WriteOnly));
    makeManagerFor({.body = "model"});
    QCOMPARE(ModelManager::directory(), modelsFolder());
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_manager->download();
    QTRY_COMPARE(m_manager->state(), State::failed(u"Not a directory"_s));
}

void tst_ModelManager::readsItsStateFromTheDisk_data()
{
    QTest::addColumn<bool>("present");
    QTest::addColumn<Case>("state");
    QTest::newRow("file present") << true << Case::ready;
    QTest::newRow("file absent") << false << Case::needsDownload;
}

void tst_ModelManager::readsItsStateFromTheDisk()
{
    QFETCH(const bool, present);
    QFETCH(const Case, state);
    if (present)
        writeFile(first(), QByteArray()); // the size does not matter
    writeFile(second());
    makeManager();
    QCOMPARE(m_manager->state().kind, state);
}

void tst_ModelManager::restoresTheChoice_data()
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

void tst_ModelManager::restoresTheChoice()
{
    QFETCH(const QVariant, choice);
    QFETCH(const int, index);
    if (choice.isValid())
        QSettings().setValue(choiceKey, choice);
    makeManager();
    QCOMPARE(m_manager->selected().id, LocalModel::catalog().at(index).id);
    QVERIFY(m_manager->selected() == LocalModel::catalog().at(index));
}

void tst_ModelManager::doesNothingElseAtStart()
{
    writeFile(first());
    makeManager();
    QCOMPARE(m_manager->engine().get(), m_engine.get());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::ready());
    QCOMPARE(m_engine->loads(), QStringList());
    QCOMPARE(m_engine->unloads(), 0);
    QVERIFY(!QSettings().contains(choiceKey));
}

void tst_ModelManager::removesLeftOverFilesAtStart()
{
    LocalModel stale = first();
    stale.fileName = u"0123456789abcdef.quillon-part"_s;
    writeFile(stale);
    makeManager();
    QCOMPARE(filesInFolder(), QStringList());
}

void tst_ModelManager::usesTheLlamaEngineByDefault()
{
    QSettings().setValue(choiceKey, second().id);
    writeFile(second(), "no model at all");
    ModelManager manager;
    QVERIFY(std::dynamic_pointer_cast<LlamaEngine>(manager.engine()));
    QVERIFY(!manager.engine()->isLoaded());
    QCOMPARE(manager.state(), State::ready());
    QVERIFY(manager.selected() == second());
    QCoro::waitFor(manager.loadIfNeeded());
    QCOMPARE(manager.state(), State::failed(u"Couldn't load the model file."_s));
}

void tst_ModelManager::refreshOverwritesEveryState_data()
{
    QTest::addColumn<Case>("from");
    QTest::addColumn<bool>("present");
    const std::initializer_list<std::pair<const char *, Case>> all = {
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

void tst_ModelManager::refreshOverwritesEveryState()
{
    QFETCH(const Case, from);
    QFETCH(const bool, present);
    bringInto(from);
    if (present)
        writeFile(m_manager->selected());
    else
        QFile::remove(filePath(m_manager->selected()));
    m_manager->refresh();
    QCOMPARE(m_manager->state(), present ? State::ready() : State::needsDownload());

    if (from == Case::loading) {
        m_engine->releaseLoad();
        QTRY_COMPARE(m_manager->state(), State::loaded());
    }
}

void tst_ModelManager::refreshIgnoresFilesThatBlockTheirReader_data()
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

void tst_ModelManager::refreshIgnoresFilesThatBlockTheirReader()
{
    QFETCH(const std::function<bool(const QString &)>, make);
    QFETCH(const Case, state);
    makeManager();
    QVERIFY(make(filePath(first())));
    m_manager->refresh();
    QCOMPARE(m_manager->state().kind, state);
    QCOMPARE(ModelManager::hasFile(first()), state == Case::ready);
}

void tst_ModelManager::hasSignalsBeforeAndAfterEachChange()
{
    writeFile(second());
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
    QTRY_COMPARE(m_manager->state(), State::loaded());
    m_manager->disconnect(this);
}

void tst_ModelManager::selectingTheSelectedModelDoesNothing()
{
    makeManager();
    const QSignalSpy selected(m_manager.get(), &ModelManager::selectedWillChange);
    writeFile(first());
    m_manager->select(LocalModel(first()));
    m_manager->select(m_manager->selected());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload()); // not refreshed
    QCOMPARE(m_states.size(), 0);
    QCOMPARE(selected.count(), 0);
    QCOMPARE(m_engine->unloads(), 0);
    QVERIFY(!QSettings().contains(choiceKey));
}

void tst_ModelManager::aModelThatDiffersInAnyFieldIsAnother()
{
    makeManager();
    LocalModel other = first();
    ++other.sizeMB;
    m_manager->select(other);
    QCOMPARE(m_engine->unloads(), 1);
    QVERIFY(m_manager->selected() == other);
    QCOMPARE(QSettings().value(choiceKey).toString(), first().id);
}

void tst_ModelManager::selectingAModelWithoutAFileNeedsADownload()
{
    writeFile(first());
    makeManager();
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_engine->unloads(), 1);
    QVERIFY(m_manager->selected() == second());
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_engine->loads(), QStringList{filePath(first())});
    QCOMPARE(filesInFolder(), QStringList{first().fileName});
}

void tst_ModelManager::selectingAModelWithAFileLoadsIt()
{
    writeFile(second());
    makeManager();
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::ready());
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(cases(), (QList<Case>{Case::ready, Case::loading, Case::loaded}));
    QCOMPARE(m_engine->loads(), QStringList{filePath(second())});
}

void tst_ModelManager::selectingClearsAFailure()
{
    bringInto(Case::failed);
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
}

void tst_ModelManager::selectingDuringADownloadCancelsIt()
{
    downloadHalf();
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::needsDownload());
    m_server->release();
    QTRY_COMPARE(m_server->connections(), 0);
    QTRY_COMPARE(filesInFolder(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(cases(), QList<Case>{Case::needsDownload});
}

void tst_ModelManager::selectingDuringAGenerationShowsTheLoadedEngine()
{
    writeFile(first());
    writeFile(second());
    makeManager();
    load();
    m_engine->holdUnloads(); // as during a generation
    m_manager->select(second());
    QCOMPARE(m_manager->state(), State::ready());
    QTRY_COMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_engine->loads(), QStringList{filePath(first())});

    m_engine->setLoaded(false); // the unload has happened
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_engine->loads(), (QStringList{filePath(first()), filePath(second())}));
}

void tst_ModelManager::ignoresALoadThatEndsAfterAnotherChoice_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("well") << false;
    QTest::newRow("badly") << true;
}

void tst_ModelManager::ignoresALoadThatEndsAfterAnotherChoice()
{
    QFETCH(const bool, fails);
    bringInto(Case::loading);
    m_engine->holdUnloads();
    if (fails)
        m_engine->setLoadError(InferenceError::loadFailed);
    m_manager->select(second());
    m_states.clear();
    m_engine->releaseLoad();
    QTRY_COMPARE(m_engine->isLoaded(), !fails);
    QCoreApplication::processEvents();
    QCOMPARE(m_manager->state(), State::needsDownload());
    QCOMPARE(m_states.size(), 0);
}

void tst_ModelManager::storesTheChoice()
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

int main(int argc, char **argv)
{
    const PrivateHome home;
    const QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon Tests"_s);
    QCoreApplication::setApplicationName(u"tst_ModelManager"_s);
    tst_ModelManager test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ModelManager.moc"
