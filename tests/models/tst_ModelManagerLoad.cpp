#include "tests/models/ModelManagerFixture.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using State = ModelManager::State;

class tst_ModelManagerLoad : public ModelManagerFixture
{
    Q_OBJECT

private Q_SLOTS:
    void showsALoadedEngine_data();
    void showsALoadedEngine();
    void doesNothingUnlessReady_data();
    void doesNothingUnlessReady();
    void loads_data();
    void loads();
    void reportsWhyALoadFailed_data();
    void reportsWhyALoadFailed();
    void returnsAtOnceWhileLoading();
    void mayBeDestroyedWhileLoading();
};

void tst_ModelManagerLoad::showsALoadedEngine_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("downloading") << Case::downloading;
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded") << Case::loaded;
    QTest::newRow("failed") << Case::failed;
}

void tst_ModelManagerLoad::showsALoadedEngine()
{
    QFETCH(const Case, from);
    bringInto(from);
    const QStringList loads = m_engine->loads();
    m_engine->setLoaded(true);
    load();
    QCOMPARE(m_manager->state(), State::loaded());
    QCOMPARE(m_engine->loads(), loads);
}

void tst_ModelManagerLoad::doesNothingUnlessReady_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("needsDownload") << Case::needsDownload;
    QTest::newRow("downloading") << Case::downloading;
    QTest::newRow("failed") << Case::failed;
}

void tst_ModelManagerLoad::doesNothingUnlessReady()
{
    QFETCH(const Case, from);
    bringInto(from);
    const QStringList loads = m_engine->loads();
    const State before = m_manager->state();
    writeFile(m_manager->selected());
    m_states.clear();
    load();
    QCOMPARE(m_manager->state(), before);
    QCOMPARE(m_states.size(), 0);
    QCOMPARE(m_engine->loads(), loads);
}

void tst_ModelManagerLoad::loads_data()
{
    QTest::addColumn<Case>("from");
    QTest::newRow("ready") << Case::ready;
    QTest::newRow("loaded over an engine that was unloaded") << Case::loaded;
}

void tst_ModelManagerLoad::loads()
{
    QFETCH(const Case, from);
    bringInto(from);
    m_engine->setLoaded(false);
    m_states.clear();
    const qsizetype loads = m_engine->loads().size();
    load();
    QCOMPARE(m_states, (QList<State>{State::loading(), State::loaded()}));
    QCOMPARE(m_engine->loads().size(), loads + 1);
    QCOMPARE(m_engine->loads().last(), filePath(m_manager->selected()));
}

void tst_ModelManagerLoad::reportsWhyALoadFailed_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("message");
    QTest::newRow("file") << static_cast<int>(InferenceError::loadFailed)
                          << u"Couldn't load the model file."_s;
    QTest::newRow("context") << static_cast<int>(InferenceError::contextFailed)
                             << u"Couldn't create an inference context."_s;
}

void tst_ModelManagerLoad::reportsWhyALoadFailed()
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

void tst_ModelManagerLoad::returnsAtOnceWhileLoading()
{
    bringInto(Case::loading);
    load(); // returns although the load is held
    QCOMPARE(m_manager->state(), State::loading());
    QCOMPARE(m_engine->loads().size(), 1);
    m_engine->releaseLoad();
    QTRY_COMPARE(m_manager->state(), State::loaded());
}

void tst_ModelManagerLoad::mayBeDestroyedWhileLoading()
{
    bringInto(Case::loading);
    m_manager.reset();
    m_engine->releaseLoad();
    QTRY_VERIFY(m_engine->isLoaded());
    QCoreApplication::processEvents();
}

int main(int argc, char **argv)
{
    const PrivateHome home;
    const QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon Tests"_s);
    QCoreApplication::setApplicationName(u"tst_ModelManagerLoad"_s);
    tst_ModelManagerLoad test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ModelManagerLoad.moc"
