#include "tests/support/HttpServer.h"
#include "tests/support/Waiting.h"
#include "tests/ui/ViewModels.h"

#include <QQmlListReference>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
LocalModel modelAt(const QUrl &url)
{
    return {u"test"_s, u"Test"_s, u"Small"_s, url, u"test.gguf"_s, 1234567};
}

ModelChoice &choice(ModelsViewModel &view, int place)
{
    QQmlListProperty<ModelChoice> choices = view.choices();
    return *choices.at(&choices, place);
}
} // namespace

class tst_ModelsViewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void offersTheCatalogue();
    void choosesAModel();
    void namesEachState();
    void progressIsInPlainTruncatedDigits_data();
    void progressIsInPlainTruncatedDigits();
    void cancellingIsSilent();
    void cancellingWithoutADownloadReadsTheDisk();
    void failsWithTheServersStatus();
    void triesAFailedDownloadAgain();
    void triesAFailedLoadAgain();
    void loadsInALaterPassOfTheEventLoop();
};

void tst_ModelsViewModel::initTestCase()
{
    for (const char *name :
         {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
        qunsetenv(name);
}

void tst_ModelsViewModel::offersTheCatalogue()
{
    ViewModels scene(ViewModels::Model::missing);
    QQmlListProperty<ModelChoice> choices = scene.modelsView->choices();
    QCOMPARE(choices.count(&choices), 2);
    const ModelChoice &first = choice(*scene.modelsView, 0);
    const ModelChoice &second = choice(*scene.modelsView, 1);
    QCOMPARE(first.name(), u"Qwen2.5 1.5B Instruct"_s);
    QCOMPARE(first.row(), u"Qwen2.5 1.5B Instruct — Fast and light · ~1 GB"_s);
    QCOMPARE(second.name(), u"Llama 3.2 3B Instruct"_s);
    QCOMPARE(second.row(), u"Llama 3.2 3B Instruct — Smarter planning · ~2 GB"_s);
    QVERIFY(first.isSelected());
    QVERIFY(!second.isSelected());
    QCOMPARE(scene.modelsView->selected(), 0);
    QCOMPARE(scene.modelsView->selectedName(), u"Qwen2.5 1.5B Instruct"_s);
}

void tst_ModelsViewModel::choosesAModel()
{
    ViewModels scene(ViewModels::Model::missing);
    const QSignalSpy changes(scene.modelsView.get(), &ModelsViewModel::selectedChanged);
    const QSignalSpy secondChanges(&choice(*scene.modelsView, 1), &ModelChoice::isSelectedChanged);
    choice(*scene.modelsView, 1).select();
    QCOMPARE(changes.size(), 1);
    QCOMPARE(secondChanges.size(), 1);
    QVERIFY(choice(*scene.modelsView, 1).isSelected());
    QCOMPARE(scene.modelsView->selected(), 1);
    QCOMPARE(scene.modelsView->selectedName(), u"Llama 3.2 3B Instruct"_s);
    QCOMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    scene.manager->select(modelAt(HttpServer::closedUrl(u"/test.gguf"_s)));
    QCOMPARE(scene.modelsView->selected(), -1);
    // Entries are identified by their ids.
    LocalModel elsewhere = LocalModel::catalog().at(1);
    elsewhere.url = HttpServer::closedUrl(u"/test.gguf"_s);
    scene.manager->select(elsewhere);
    QCOMPARE(scene.modelsView->selected(), 1);
    QVERIFY(choice(*scene.modelsView, 1).isSelected());
}

void tst_ModelsViewModel::namesEachState()
{
    ViewModels scene(ViewModels::Model::missing);
    ModelsViewModel &view = *scene.modelsView;
    QCOMPARE(view.state(), ModelsViewModel::NeedsDownload);
    ViewModels::putModel(LocalModel::catalog().first());
    scene.manager->refresh();
    QCOMPARE(view.state(), ModelsViewModel::Ready);
    scene.engine->holdLoads();
    view.loadIfNeeded();
    QTRY_COMPARE(view.state(), ModelsViewModel::Loading);
    QVERIFY(!view.isLoaded());
    scene.engine->releaseLoad();
    QTRY_COMPARE(view.state(), ModelsViewModel::Loaded);
    QVERIFY(view.isLoaded());
}

void tst_ModelsViewModel::progressIsInPlainTruncatedDigits_data()
{
    QTest::addColumn<int>("sent");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << 0 << u"0% of ~1234567 MB"_s;
    QTest::newRow("9.99") << 999 << u"9% of ~1234567 MB"_s;
    QTest::newRow("29") << 2900 << u"28% of ~1234567 MB"_s; // 0.29 × 100 is below 29
    QTest::newRow("55.5") << 5550 << u"55% of ~1234567 MB"_s;
    QTest::newRow("99.99") << 9999 << u"99% of ~1234567 MB"_s;
}

void tst_ModelsViewModel::progressIsInPlainTruncatedDigits()
{
    QFETCH(const int, sent);
    QFETCH(const QString, text);
    ViewModels scene(ViewModels::Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(10'000, 'x'), .holdAfter = sent});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    const QSignalSpy changes(scene.modelsView.get(), &ModelsViewModel::progressTextChanged);
    scene.modelsView->download();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Downloading);
    QTRY_COMPARE(scene.modelsView->progress(), sent / 10'000.0);
    QCOMPARE(scene.modelsView->progressText(), text);
    QVERIFY(!changes.isEmpty());
    scene.modelsView->cancelDownload();
}

void tst_ModelsViewModel::cancellingIsSilent()
{
    ViewModels scene(ViewModels::Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(10'000, 'x'), .holdAfter = 10});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.modelsView->download();
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    scene.modelsView->cancelDownload();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::NeedsDownload);
    QCOMPARE(scene.modelsView->message(), QString());
    server.release();
    QTRY_COMPARE(server.connections(), 0);
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::NeedsDownload);
}

void tst_ModelsViewModel::cancellingWithoutADownloadReadsTheDisk()
{
    ViewModels scene(ViewModels::Model::missing);
    ViewModels::putModel(LocalModel::catalog().first());
    scene.modelsView->cancelDownload();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Ready);
    // The model was complete by then and must be loaded.
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loaded);
}

void tst_ModelsViewModel::failsWithTheServersStatus()
{
    ViewModels scene(ViewModels::Model::missing);
    const HttpServer server;
    scene.manager->select(modelAt(server.url(u"/missing.gguf"_s)));
    scene.modelsView->download();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
    QCOMPARE(scene.modelsView->message(), u"Download failed (HTTP 404)."_s);
}

void tst_ModelsViewModel::triesAFailedDownloadAgain()
{
    ViewModels scene(ViewModels::Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(1000, 'x'), .cutAfter = 10});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.modelsView->download();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
    QVERIFY(!scene.modelsView->message().isEmpty());
    server.setAnswer(u"/test.gguf"_s, {.body = "model"});
    scene.modelsView->tryAgain();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Downloading);
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loaded);
}

void tst_ModelsViewModel::triesAFailedLoadAgain()
{
    ViewModels scene(ViewModels::Model::present);
    scene.engine->setLoadError(InferenceError::loadFailed);
    scene.modelsView->loadIfNeeded();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
    QCOMPARE(scene.modelsView->message(), u"Couldn't load the model file."_s);
    scene.engine->setLoadError({});
    scene.modelsView->tryAgain();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Ready);
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loaded);
}

void tst_ModelsViewModel::loadsInALaterPassOfTheEventLoop()
{
    ViewModels scene(ViewModels::Model::present);
    scene.modelsView->loadIfNeeded();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Ready);
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loaded);
    QCOMPARE(scene.engine->loads().size(), 1);
}

QTEST_GUILESS_MAIN(tst_ModelsViewModel)

#include "tst_ModelsViewModel.moc"
