#include "tests/support/HttpServer.h"
#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

using namespace Qt::StringLiterals;

using Model = PanelScene::Model;

namespace {
LocalModel modelAt(const QUrl &url)
{
    return {u"test"_s, u"Test"_s, u"Small"_s, url, u"test.gguf"_s, 1234567};
}
} // namespace

class tst_SetUpCard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatItIsFor();
    void isInTheMiddle();
    void showsOneElementForEachState();
    void downloadsAndLoads();
    void showsProgress();
    void examplesAreThereToReadMeanwhile();
    void cancelReturnsToTheDownloadButton();
    void showsWhyADownloadFailed_data();
    void showsWhyADownloadFailed();
    void aFailureSaysHowToGetTheFileOtherwise();
    void tryAgainDownloadsAgain();
    void tryAgainLoadsAPresentFile();
    void showsHostileMessagesAsText();
    void aLongMessageStaysInTheCard();
    void picksAModelByMouse();
    void picksAModelByKeys();
    void escapeClosesTheListFirst();
    void theCardIsUsedByKeysAlone();
    void loadsWhenThePanelAppears();
    void nothingMovesFromOneElementToTheNext();
    void theHistoryStaysWhileAModelIsLoadedAnew();
    void aStripBelowTheHistorySetsUpAnotherModel();
    void theFieldHasTheKeyboardOnceTheStripIsGone();
    void theStripSaysWhyADownloadFailed();
    void theStripLeadsBackToTheModelThatIsThere();
};

void tst_SetUpCard::saysWhatItIsFor()
{
    const PanelScene scene(Model::missing);
    QVERIFY(scene.find(u"setUpCard"_s));
    QVERIFY(!scene.find(u"history"_s));
    QCOMPARE(scene.text(u"setUpTitle"_s), u"Set up your private AI"_s);
    QCOMPARE(scene.text(u"setUpExplanation"_s),
             u"Quillon runs a language model entirely on your Mac. The one-time download is stored "
             "locally; nothing you type ever leaves this device."_s);
    QCOMPARE(scene.item(u"modelPicker"_s).property("displayText"),
             u"Qwen2.5 1.5B Instruct — Fast and light · ~1 GB"_s);
    QCOMPARE(scene.text(u"downloadButton"_s), u"Download Qwen2.5 1.5B Instruct"_s);
    QVERIFY(!scene.find(u"modelMenuButton"_s));
}

void tst_SetUpCard::isInTheMiddle()
{
    const PanelScene scene(Model::missing);
    const QQuickItem &card = scene.item(u"setUpCard"_s);
    const QStringList names{u"setUpSymbol"_s, u"setUpTitle"_s, u"setUpExplanation"_s,
                            u"modelPicker"_s, u"downloadButton"_s};
    qreal bottom = 0;
    for (const QString &name : names) {
        const QQuickItem &item = scene.item(name);
        const QRectF place = item.mapRectToItem(&card, item.boundingRect());
        QVERIFY(qAbs(place.center().x() - card.width() / 2) <= 0.5);
        QVERIFY(place.left() >= 30 && place.right() <= card.width() - 30);
        if (bottom > 0)
            QCOMPARE(place.top(), bottom + 16);
        bottom = place.bottom();
    }
    const QQuickItem &first = scene.item(names.first());
    const QQuickItem &last = scene.item(names.last());
    const auto isCentred = [&] {
        const qreal top = first.mapRectToItem(&card, first.boundingRect()).top();
        const qreal end = last.mapRectToItem(&card, last.boundingRect()).bottom();
        return qAbs(top - (card.height() - end)) < 1.5; // rounded to pixels
    };
    QTRY_VERIFY(isCentred());
    scene.window->resize(640, 460);
    QTRY_COMPARE(card.width(), 640);
    QTRY_VERIFY(first.mapRectToItem(&card, first.boundingRect()).top() >= 30);
}

void tst_SetUpCard::showsOneElementForEachState()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    const auto seen = [&scene] {
        QStringList names;
        for (const QString &name : {u"downloadButton"_s, u"downloadProgress"_s,
                                    u"downloadProgressText"_s, u"cancelDownloadButton"_s,
                                    u"failureMessage"_s, u"tryAgainButton"_s, u"loadingText"_s}) {
            if (scene.find(name))
                names << name;
        }
        return names;
    };
    QCOMPARE(seen(), QStringList{u"downloadButton"_s});
    scene.engine->holdLoads();
    scene.click(u"downloadButton"_s);
    QCOMPARE(seen(), QStringList({u"downloadProgress"_s, u"downloadProgressText"_s,
                                  u"cancelDownloadButton"_s}));
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    server.release();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loading);
    QCOMPARE(seen(), QStringList{u"loadingText"_s});
    QCOMPARE(scene.text(u"loadingText"_s), u"Loading model…"_s);
    scene.manager->refresh();
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Ready);
    QCOMPARE(seen(), QStringList{u"loadingText"_s});
    scene.engine->releaseLoad();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loaded);
    QVERIFY(!scene.find(u"setUpCard"_s));
    QVERIFY(scene.find(u"history"_s));
}

void tst_SetUpCard::downloadsAndLoads()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = "model"});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    QCOMPARE(scene.text(u"downloadButton"_s), u"Download Test"_s);
    scene.click(u"downloadButton"_s);
    QTRY_VERIFY(scene.modelsView->isLoaded());
    QTRY_VERIFY(scene.find(u"suggestions"_s));
    QCOMPARE(scene.engine->loads().size(), 1);
}

void tst_SetUpCard::showsProgress()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(10'000, 'x'), .holdAfter = 4299});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.click(u"downloadButton"_s);
    QTRY_COMPARE(scene.text(u"downloadProgressText"_s), u"42% of ~1234567 MB"_s);
    const QQuickItem &bar = scene.item(u"downloadProgress"_s);
    QCOMPARE(bar.width(), 300);
    QCOMPARE(bar.property("from"), 0);
    QCOMPARE(bar.property("to"), 1);
    QCOMPARE(bar.property("value"), 0.4299);
    QCOMPARE(bar.property("indeterminate"), false);
    scene.click(u"cancelDownloadButton"_s);
}

void tst_SetUpCard::examplesAreThereToReadMeanwhile()
{
    HttpServer server;
    server.setAnswer(u"/model.gguf"_s, {.body = QByteArray(10'000, 'x'), .holdAfter = 4000});
    LocalModel model = LocalModel::catalog().first();
    model.url = server.url(u"/model.gguf"_s);
    PanelScene scene(Model::missing);
    scene.manager->select(model);
    QVERIFY(!scene.find(u"setUpSuggestion0"_s));
    const qreal before = scene.item(u"setUpTitle"_s).mapToScene(QPointF(0, 0)).y();
    scene.click(u"downloadButton"_s);
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    QTRY_VERIFY(scene.find(u"setUpSuggestion3"_s));
    QCOMPARE(scene.item(u"setUpTitle"_s).mapToScene(QPointF(0, 0)).y(), before);
    const QQuickItem &first = scene.item(u"setUpSuggestion0"_s);
    const QQuickItem &cancel = scene.item(u"cancelDownloadButton"_s);
    QVERIFY(first.mapToScene(QPointF(0, 0)).y() >=
            cancel.mapToScene(QPointF(0, cancel.height())).y());
    // A choice is kept until the model is there, and what is typed, too.
    scene.click(u"setUpSuggestion2"_s);
    QCOMPARE(scene.typed(), u"Take a screenshot and save it to Downloads"_s);
    QVERIFY(scene.hasFocus(u"commandField"_s));
    scene.key(Qt::Key_Return);
    QVERIFY(!scene.session->isRunning());
    scene.type(u" twice"_s);
    QCOMPARE(scene.typed(), u"Take a screenshot and save it to Downloads twice"_s);
    // In a small window, there is no place for them.
    scene.window->resize(640, 460);
    QTRY_VERIFY(!scene.find(u"setUpSuggestion0"_s));
    scene.click(u"cancelDownloadButton"_s);
}

void tst_SetUpCard::cancelReturnsToTheDownloadButton()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.click(u"downloadButton"_s);
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    QCOMPARE(scene.text(u"cancelDownloadButton"_s), u"Cancel"_s);
    scene.click(u"cancelDownloadButton"_s);
    QVERIFY(scene.find(u"downloadButton"_s));
    server.release();
    QTRY_COMPARE(server.connections(), 0);
    QVERIFY(scene.find(u"downloadButton"_s));
    QVERIFY(!scene.find(u"failureMessage"_s));
}

void tst_SetUpCard::showsWhyADownloadFailed_data()
{
    QTest::addColumn<HttpServer::Answer>("answer");
    QTest::addColumn<QString>("message");
    QTest::newRow("not found") << HttpServer::Answer{.status = 404}
                               << u"Download failed (HTTP 404)."_s;
    QTest::newRow("server error") << HttpServer::Answer{.status = 503}
                                  << u"Download failed (HTTP 503)."_s;
    QTest::newRow("breaks off") << HttpServer::Answer{.body = QByteArray(100, 'x'), .cutAfter = 50}
                                << QString();
}

void tst_SetUpCard::showsWhyADownloadFailed()
{
    QFETCH(const HttpServer::Answer, answer);
    QFETCH(const QString, message);
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, answer);
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.click(u"downloadButton"_s);
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
    QCOMPARE(scene.text(u"failureMessage"_s), scene.manager->state().message);
    if (message.isEmpty())
        QVERIFY(!scene.text(u"failureMessage"_s).isEmpty());
    else
        QCOMPARE(scene.text(u"failureMessage"_s), message);
    QCOMPARE(scene.text(u"tryAgainButton"_s), u"Try again"_s);
    const QQuickItem &button = scene.item(u"tryAgainButton"_s);
    const QQuickItem &text = scene.item(u"failureMessage"_s);
    QTRY_COMPARE(button.mapToScene({}).y(), text.mapToScene({}).y() + text.height() + 8);
}

void tst_SetUpCard::aFailureSaysHowToGetTheFileOtherwise()
{
    const PanelScene scene(Model::missing);
    QVERIFY(!scene.find(u"manualDownload"_s));
    const HttpServer server;
    const QUrl url = server.url(u"/test.gguf"_s);
    scene.manager->select(modelAt(url));
    scene.manager->download();
    QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
    QCOMPARE(scene.text(u"manualDownload"_s),
             u"The file is at %1 and belongs into %2."_s.arg(
                 url.toString(), QDir::toNativeSeparators(ModelManager::directory())));
    // It covers nothing, however small the window and long the message.
    const QQuickItem &card = scene.item(u"setUpCard"_s);
    const QQuickItem &note = scene.item(u"manualDownload"_s);
    const QQuickItem &button = scene.item(u"tryAgainButton"_s);
    const auto isApart = [&] {
        return note.mapRectToItem(&card, note.boundingRect()).top() >=
               button.mapRectToItem(&card, button.boundingRect()).bottom() + 4;
    };
    for (const QString &message :
         {u"Download failed."_s, QString(u"A long sentence without an end. "_s).repeated(50)}) {
        scene.item(u"failureMessage"_s).setProperty("text", message);
        for (int height = 620; height >= 460; height -= 20) {
            scene.window->resize(640, height);
            QTRY_COMPARE(scene.window->contentItem()->height(), height);
            QTRY_VERIFY2(isApart(), qPrintable(QString::number(height)));
        }
    }
}

void tst_SetUpCard::tryAgainDownloadsAgain()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.click(u"downloadButton"_s);
    QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
    server.setAnswer(u"/test.gguf"_s, {.body = "model"});
    scene.click(u"tryAgainButton"_s);
    QTRY_VERIFY(scene.modelsView->isLoaded());
    QCOMPARE(server.requests().size(), 2);
}

void tst_SetUpCard::tryAgainLoadsAPresentFile()
{
    PanelScene scene(Model::unreadable);
    QTRY_COMPARE(scene.text(u"failureMessage"_s), u"Couldn't load the model file."_s);
    scene.engine->setLoadError({});
    scene.click(u"tryAgainButton"_s);
    QTRY_VERIFY(scene.modelsView->isLoaded());
    QCOMPARE(scene.engine->loads().size(), 2);
}

void tst_SetUpCard::showsHostileMessagesAsText()
{
    PanelScene scene(Model::missing);
    scene.manager->select({u"test"_s, u"<b>Bold</b><img src=\"file:///dev/zero\">"_s, u"Small"_s,
                           HttpServer::closedUrl(u"/test.gguf"_s), u"test.gguf"_s, 1});
    QCOMPARE(scene.text(u"downloadButton"_s),
             u"Download <b>Bold</b><img src=\"file:///dev/zero\">"_s);
    for (const QQuickItem *const text : scene.allTexts())
        QCOMPARE(text->property("textFormat").toInt(), int(Qt::PlainText));
}

void tst_SetUpCard::aLongMessageStaysInTheCard()
{
    PanelScene scene(Model::unreadable);
    QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
    scene.window->resize(640, 460);
    QTRY_COMPARE(scene.item(u"setUpCard"_s).width(), 640);
    QQuickItem &message = scene.item(u"failureMessage"_s);
    message.setProperty("text", QString(u"A long sentence without an end. "_s).repeated(50));
    const QQuickItem &card = scene.item(u"setUpCard"_s);
    const QQuickItem &button = scene.item(u"tryAgainButton"_s);
    const auto bottom = [&] { return button.mapRectToItem(&card, button.boundingRect()).bottom(); };
    QTRY_VERIFY(bottom() <= card.height() - 30);
    QVERIFY(message.property("lineCount").toInt() < 5);
    const QQuickItem &symbol = scene.item(u"setUpSymbol"_s);
    QTRY_VERIFY(symbol.mapRectToItem(&card, symbol.boundingRect()).top() >= 30);
    const auto right = [&] { return message.mapRectToItem(&card, message.boundingRect()).right(); };
    QTRY_VERIFY(right() <= card.width() - 30);
    // In a larger window, more of it is shown, up to a limit.
    scene.window->resize(720, 900);
    QTRY_VERIFY(message.height() > 60);
    QVERIFY(message.height() < 120);
}

void tst_SetUpCard::picksAModelByMouse()
{
    PanelScene scene(Model::missing);
    scene.click(u"modelPicker"_s);
    QTRY_VERIFY(scene.find(u"modelPickerRow1"_s));
    QCOMPARE(scene.text(u"modelPickerRow0"_s), u"Qwen2.5 1.5B Instruct — Fast and light · ~1 GB"_s);
    QCOMPARE(scene.text(u"modelPickerRow1"_s),
             u"Llama 3.2 3B Instruct — Smarter planning · ~2 GB"_s);
    scene.click(u"modelPickerRow1"_s);
    QCOMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    QCOMPARE(scene.text(u"downloadButton"_s), u"Download Llama 3.2 3B Instruct"_s);
    QTRY_VERIFY(!scene.find(u"modelPickerRow1"_s));
    QCOMPARE(scene.item(u"modelPicker"_s).property("displayText"),
             u"Llama 3.2 3B Instruct — Smarter planning · ~2 GB"_s);
}

void tst_SetUpCard::picksAModelByKeys()
{
    PanelScene scene(Model::missing);
    scene.item(u"modelPicker"_s).forceActiveFocus(Qt::TabFocusReason);
    scene.key(Qt::Key_Return);
    QTRY_VERIFY(scene.find(u"modelPickerRow1"_s));
    scene.key(Qt::Key_Down);
    QCOMPARE(scene.manager->selected().id, u"qwen2.5-1.5b"_s);
    scene.key(Qt::Key_Return);
    QCOMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    QTRY_VERIFY(!scene.find(u"modelPickerRow1"_s));
    scene.key(Qt::Key_Up);
    QCOMPARE(scene.manager->selected().id, u"qwen2.5-1.5b"_s);
}

void tst_SetUpCard::escapeClosesTheListFirst()
{
    PanelScene scene(Model::missing);
    scene.click(u"modelPicker"_s);
    QTRY_VERIFY(scene.find(u"modelPickerRow1"_s));
    scene.key(Qt::Key_Escape);
    QTRY_VERIFY(!scene.find(u"modelPickerRow1"_s));
    QCOMPARE(scene.hides(), 0);
    QCOMPARE(scene.manager->selected().id, u"qwen2.5-1.5b"_s);
    scene.key(Qt::Key_Escape);
    QCOMPARE(scene.hides(), 1);
}

void tst_SetUpCard::theCardIsUsedByKeysAlone()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    const auto reach = [&scene](const QString &name) {
        for (int i = 0; i < 12 && !scene.hasFocus(name); ++i)
            scene.key(Qt::Key_Tab);
        return scene.hasFocus(name);
    };
    QVERIFY(reach(u"modelPicker"_s));
    QVERIFY(reach(u"downloadButton"_s));
    scene.key(Qt::Key_Return);
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Downloading);
    QVERIFY(reach(u"cancelDownloadButton"_s));
    scene.key(Qt::Key_Space);
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::NeedsDownload);
    server.setAnswer(u"/test.gguf"_s, {.status = 404});
    QVERIFY(reach(u"downloadButton"_s));
    scene.key(Qt::Key_Return);
    QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
    QVERIFY(reach(u"tryAgainButton"_s));
}

void tst_SetUpCard::loadsWhenThePanelAppears()
{
    PanelScene scene(Model::loading);
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Loading);
    QCOMPARE(scene.text(u"loadingText"_s), u"Loading model…"_s);
    scene.engine->releaseLoad();
    QTRY_VERIFY(scene.find(u"suggestions"_s));
}

void tst_SetUpCard::theHistoryStaysWhileAModelIsLoadedAnew()
{
    PanelScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    // Another model, whose download fails.
    const HttpServer server;
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::NeedsDownload);
    QVERIFY(scene.find(u"history"_s));
    QVERIFY(!scene.find(u"setUpCard"_s));
    QVERIFY(!scene.find(u"modelMenuButton"_s));
    scene.modelsView->download();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
    QVERIFY(scene.find(u"history"_s));
    QVERIFY(scene.find(u"setUpStrip"_s));
    // Without turns, the card is shown again.
    scene.key(Qt::Key_K, Qt::ControlModifier);
    QTRY_VERIFY(scene.find(u"setUpCard"_s));
    QCOMPARE(scene.text(u"failureMessage"_s), u"Download failed (HTTP 404)."_s);
    QVERIFY(!scene.find(u"setUpStrip"_s));
}

void tst_SetUpCard::nothingMovesFromOneElementToTheNext()
{
    PanelScene scene(Model::missing);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    const auto places = [&scene] {
        QList<qreal> tops;
        for (const QString &name : {u"setUpSymbol"_s, u"setUpTitle"_s, u"modelPicker"_s})
            tops << scene.item(name).mapToScene({}).y();
        return tops;
    };
    for (const QSize size : {QSize(720, 620), QSize(640, 460)}) {
        scene.window->resize(size);
        QTRY_COMPARE(scene.item(u"setUpCard"_s).width(), size.width());
        QTest::qWait(50);
        const QList<qreal> before = places();
        scene.click(u"downloadButton"_s);
        QTRY_VERIFY(scene.find(u"downloadProgress"_s));
        QCOMPARE(places(), before);
        scene.click(u"cancelDownloadButton"_s);
        QTRY_VERIFY(scene.find(u"downloadButton"_s));
        QCOMPARE(places(), before);
    }
    const HttpServer other;
    scene.manager->select(modelAt(other.url(u"/missing.gguf"_s)));
    const QList<qreal> before = places();
    scene.click(u"downloadButton"_s);
    QTRY_VERIFY(scene.find(u"failureMessage"_s));
    QTest::qWait(50);
    QCOMPARE(places(), before);
}

void tst_SetUpCard::aStripBelowTheHistorySetsUpAnotherModel()
{
    PanelScene scene;
    QVERIFY(!scene.find(u"setUpStrip"_s));
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    QVERIFY(!scene.find(u"setUpStrip"_s));
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.engine->setLoaded(false);
    scene.engine->holdLoads();
    QCOMPARE(scene.text(u"stripDownloadButton"_s), u"Download Test"_s);
    // Below the history, above the footer.
    const auto bottom = [&](const QString &name) {
        const QQuickItem &item = scene.item(name);
        return item.mapRectToScene(item.boundingRect()).bottom();
    };
    const auto top = [&](const QString &name) { return scene.item(name).mapToScene({}).y(); };
    QTRY_VERIFY(top(u"setUpStrip"_s) >= bottom(u"history"_s));
    QVERIFY(bottom(u"setUpStrip"_s) <= top(u"onDevice"_s));
    QVERIFY(scene.item(u"setUpStrip"_s).height() <= 44);
    scene.click(u"stripDownloadButton"_s);
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    QCOMPARE(scene.text(u"stripText"_s), u"50% of ~1234567 MB"_s);
    QCOMPARE(scene.item(u"stripProgress"_s).property("value"), 0.5);
    scene.click(u"stripCancelButton"_s);
    QTRY_VERIFY(scene.find(u"stripDownloadButton"_s));
    QVERIFY(!scene.find(u"stripProgress"_s));
    scene.click(u"stripDownloadButton"_s);
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    server.release();
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Loading);
    QCOMPARE(scene.text(u"stripText"_s), u"Loading model…"_s);
    scene.engine->releaseLoad();
    QTRY_VERIFY(!scene.find(u"setUpStrip"_s));
    QVERIFY(scene.find(u"history"_s));
}

void tst_SetUpCard::theFieldHasTheKeyboardOnceTheStripIsGone()
{
    PanelScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, {.body = QByteArray(100, 'x'), .holdAfter = 50});
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.engine->setLoaded(false);
    QTest::qWait(100); // the row is laid out in the next frame
    scene.click(u"stripDownloadButton"_s);
    QTRY_VERIFY(scene.modelsView->progress() > 0);
    scene.item(u"stripCancelButton"_s).forceActiveFocus(Qt::TabFocusReason);
    QVERIFY(scene.hasFocus(u"stripCancelButton"_s));
    server.release();
    QTRY_VERIFY(!scene.find(u"setUpStrip"_s));
    QTRY_VERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_SetUpCard::theStripSaysWhyADownloadFailed()
{
    PanelScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    const HttpServer server;
    scene.manager->select(modelAt(server.url(u"/test.gguf"_s)));
    scene.click(u"stripDownloadButton"_s);
    QTRY_COMPARE(scene.text(u"stripText"_s), u"Download failed (HTTP 404)."_s);
    scene.click(u"stripTryAgainButton"_s);
    QCOMPARE(scene.modelsView->state(), ModelsViewModel::Downloading);
    QTRY_COMPARE(scene.modelsView->state(), ModelsViewModel::Failed);
}

void tst_SetUpCard::theStripLeadsBackToTheModelThatIsThere()
{
    PanelScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    scene.manager->select(LocalModel::catalog().at(1));
    scene.engine->setLoaded(false);
    QCOMPARE(scene.text(u"stripModelMenuButton"_s), u"Llama 3.2 3B Instruct"_s);
    scene.click(u"stripModelMenuButton"_s);
    QTRY_VERIFY(scene.find(u"modelMenuItem0"_s));
    scene.click(u"modelMenuItem0"_s);
    QTRY_VERIFY(scene.modelsView->isLoaded());
    QVERIFY(!scene.find(u"setUpStrip"_s));
}

PANEL_TEST_MAIN(tst_SetUpCard)

#include "tst_SetUpCard.moc"
