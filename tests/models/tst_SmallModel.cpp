#include "models/SmallModel.h"

#include "models/ModelManager.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/ScriptedEngine.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
#ifdef Q_OS_MACOS
const QString besideTheProgram = u"../Resources"_s;
#else
const QString besideTheProgram = u"../share/quillon"_s;
#endif

QString place()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + u'/' + besideTheProgram +
                           u"/small-model.gguf"_s);
}

void bringAlong()
{
    QVERIFY(QDir().mkpath(QFileInfo(place()).path()));
    QFile file(place());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("model"), 5);
}
} // namespace

class tst_SmallModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { QFile::remove(place()); }

    void isNoneOfTheCatalogue();
    void isFoundBesideTheProgram();
    void aFolderInItsPlaceIsNoModel();

    void isUsedForThisTimeOnly();
    void isNotUsedIfItDidNotComeAlong();
    void isUsedAlsoWhenItIsSelectedAlready();
    void anotherChoiceLeavesIt();
    void theFirstChoiceLeavesItToo();
    void goesAwayWhileItIsSelected();

private:
    std::shared_ptr<ScriptedEngine> m_engine;
};

void tst_SmallModel::init()
{
    QSettings().clear();
    m_engine = std::make_shared<ScriptedEngine>();
}

void tst_SmallModel::isNoneOfTheCatalogue()
{
    QVERIFY(!LocalModel::catalog().contains(SmallModel::model()));
    for (const LocalModel &model : LocalModel::catalog())
        QVERIFY(model.id != SmallModel::model().id);
    QCOMPARE(SmallModel::model().name, u"Quillon Small"_s);
}

void tst_SmallModel::isFoundBesideTheProgram()
{
    QVERIFY(!SmallModel::file());
    bringAlong();
    QCOMPARE(SmallModel::file(), place());
}

void tst_SmallModel::aFolderInItsPlaceIsNoModel()
{
    QVERIFY(QDir().mkpath(place()));
    QVERIFY(!SmallModel::file());
    QVERIFY(QDir().rmdir(place()));
}

void tst_SmallModel::isUsedForThisTimeOnly()
{
    bringAlong();
    QSettings().setValue(u"selectedModel"_s, LocalModel::catalog().last().id);
    ModelManager models(m_engine);
    const QSignalSpy selected(&models, &ModelManager::selectedChanged);
    QVERIFY(models.useSmallModel());
    QCOMPARE(models.selected(), SmallModel::model());
    QCOMPARE(selected.size(), 1);
    QCOMPARE(models.state(), ModelManager::State::ready());
    QVERIFY(m_engine->loads().isEmpty());

    QCoro::waitFor(models.loadIfNeeded());
    QCOMPARE(models.state(), ModelManager::State::loaded());
    QCOMPARE(m_engine->loads(), QStringList{place()});
    QCOMPARE(ModelManager(m_engine).selected(), LocalModel::catalog().last());
}

void tst_SmallModel::isNotUsedIfItDidNotComeAlong()
{
    ModelManager models(m_engine);
    const QSignalSpy selected(&models, &ModelManager::selectedChanged);
    QVERIFY(!models.useSmallModel());
    QCOMPARE(models.selected(), LocalModel::catalog().first());
    QVERIFY(selected.isEmpty());
    QCOMPARE(m_engine->unloads(), 0);
}

void tst_SmallModel::isUsedAlsoWhenItIsSelectedAlready()
{
    bringAlong();
    ModelManager models(m_engine);
    QVERIFY(models.useSmallModel());
    QCoro::waitFor(models.loadIfNeeded());
    QVERIFY(models.useSmallModel());
    QCOMPARE(models.state(), ModelManager::State::loaded());
    QCOMPARE(m_engine->unloads(), 1);
}

void tst_SmallModel::anotherChoiceLeavesIt()
{
    bringAlong();
    ModelManager models(m_engine);
    QVERIFY(models.useSmallModel());
    models.select(LocalModel::catalog().last());
    QCOMPARE(models.selected(), LocalModel::catalog().last());
    QCOMPARE(QSettings().value(u"selectedModel"_s).toString(), LocalModel::catalog().last().id);
    QCOMPARE(models.state(), ModelManager::State::needsDownload());
}

void tst_SmallModel::theFirstChoiceLeavesItToo()
{
    bringAlong();
    ModelManager models(m_engine);
    QVERIFY(models.useSmallModel());
    models.select(LocalModel::catalog().first());
    QCOMPARE(models.selected(), LocalModel::catalog().first());
}

void tst_SmallModel::goesAwayWhileItIsSelected()
{
    bringAlong();
    ModelManager models(m_engine);
    QVERIFY(models.useSmallModel());
    QVERIFY(QFile::remove(place()));
    models.refresh();
    QCOMPARE(models.state(), ModelManager::State::needsDownload());
    models.download();
    QCOMPARE(models.state(),
             ModelManager::State::failed(
                 u"Quillon Small is no longer beside the program: install Quillon again."_s));
}

int main(int argc, char **argv)
{
    const PrivateHome home;
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    tst_SmallModel test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SmallModel.moc"
