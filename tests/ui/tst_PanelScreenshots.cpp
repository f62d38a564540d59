#include "tests/support/HttpServer.h"
#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

#include <QDir>

#include <functional>

using namespace Qt::StringLiterals;

using Model = PanelScene::Model;

namespace {
const QString findPdf = uR"({"action":"find_files","folder":"Downloads","extension":"pdf"})"_s;
const QString openNothing = uR"({"action":"open_path","path":"~/Nowhere"})"_s;

LocalModel modelAt(const QUrl &url)
{
    LocalModel model = LocalModel::catalog().first();
    model.url = url;
    return model;
}

void addHistory(PanelScene &scene)
{
    scene.run(u"Which windows are open?"_s,
              {Say::listWindows, Say::done(u"Safari and Mail are open."_s)});
    scene.run(u"Open my Downloads folder and find the latest PDF"_s,
              {openNothing, findPdf, Say::done(u"There is no PDF in Downloads."_s)});
}

void startDownload(PanelScene &scene, HttpServer &server, const HttpServer::Answer &answer)
{
    server.setAnswer(u"/model.gguf"_s, answer);
    scene.manager->select(modelAt(server.url(u"/model.gguf"_s)));
    scene.click(u"downloadButton"_s);
}

/// One state of the panel: its preconditions and the steps to it.
struct State
{
    const char *name;
    Model model;
    std::function<void(PanelScene &, HttpServer &)> reach;
};

const QList<State> &states()
{
    static const QList<State> all{
        {"set-up", Model::missing, [](PanelScene &, HttpServer &) {}},
        {"model-picker", Model::missing,
         [](PanelScene &scene, HttpServer &) {
             scene.click(u"modelPicker"_s);
             QTRY_VERIFY(scene.find(u"modelPickerRow1"_s));
         }},
        {"downloading", Model::missing,
         [](PanelScene &scene, HttpServer &server) {
             startDownload(scene, server, {.body = QByteArray(10'000, 'x'), .holdAfter = 4299});
             QTRY_COMPARE(scene.modelsView->progress(), 0.4299);
         }},
        {"failed", Model::missing,
         [](PanelScene &scene, HttpServer &server) {
             startDownload(scene, server, {.status = 404});
             QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
         }},
        {"unreadable", Model::unreadable,
         [](PanelScene &scene, HttpServer &) { QTRY_VERIFY(scene.find(u"tryAgainButton"_s)); }},
        {"failed-smallest", Model::missing,
         [](PanelScene &scene, HttpServer &server) {
             scene.window->resize(640, 460);
             startDownload(scene, server, {.status = 404});
             QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
             scene.item(u"failureMessage"_s)
                 .setProperty("text", u"Error transferring https://models.example/a/model/of/a/"
                                      "very/long/name/resolve/main/model.gguf — server replied: "
                                      "Service Unavailable, please come back tomorrow"_s);
         }},
        {"loading", Model::loading, [](PanelScene &, HttpServer &) {}},
        {"empty", Model::loaded, [](PanelScene &, HttpServer &) {}},
        {"typing", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             scene.type(u"Find the latest PDF in my Downloads folder"_s);
         }},
        {"keyboard-focus", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             scene.key(Qt::Key_Tab);
             scene.key(Qt::Key_Tab);
         }},
        {"thinking", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             scene.engine->addReplies({Say::listWindows, Say::done()});
             scene.engine->holdGenerations();
             scene.submit(u"Tidy up my Downloads folder"_s);
             scene.engine->releaseGeneration();
             QTRY_COMPARE(scene.session->turns().last().log.size(), 1);
             QTRY_VERIFY(scene.engine->isGenerating());
             scene.engine->sendPiece(u"{\"action\":\"trash\",\"path\":\"Downlo"_s);
             QTRY_VERIFY(scene.find(u"livePreview"_s));
         }},
        {"confirm", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             scene.engine->addReplies({Say::listWindows, Say::trashOld});
             scene.submit(u"Tidy up my Downloads folder"_s);
             QTRY_VERIFY(scene.sessionView->isPending());
         }},
        {"confirm-script", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             const QString line = uR"(tell application \"Finder\" to empty the trash\n)"_s;
             scene.engine->addReplies(
                 {uR"({"action":"applescript","script":"%1"})"_s.arg(line.repeated(30))});
             scene.submit(u"Empty the trash"_s);
             QTRY_VERIFY(scene.sessionView->isPending());
         }},
        {"confirm-hostile", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             const QString path = u"Downloads/invoice\\u202egpj.exe"_s + u"\\n"_s.repeated(60) +
                                  u"/../Documents"_s + QString(300, u' ') + u"\\u200b/all"_s;
             scene.engine->addReplies({uR"({"action":"trash","path":"%1"})"_s.arg(path)});
             scene.submit(u"Tidy up my Downloads folder"_s);
             QTRY_VERIFY(scene.sessionView->isPending());
         }},
        {"confirm-end", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             scene.itemAnywhere(u"confirmCard"_s)->setProperty("wait", 0);
             const QString path = u"Downloads/a-folder-with-a-long-name/"_s.repeated(50);
             scene.engine->addReplies({uR"({"action":"trash","path":"%1"})"_s.arg(path)});
             scene.submit(u"Tidy up my Downloads folder"_s);
             QTRY_VERIFY(scene.sessionView->isPending());
             scene.key(Qt::Key_End);
             QTRY_VERIFY(scene.itemAnywhere(u"confirmCard"_s)->property("isReady").toBool());
         }},
        {"declined", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             scene.engine->addReplies({Say::trashOld});
             scene.submit(u"Tidy up my Downloads folder"_s);
             QTRY_VERIFY(scene.sessionView->isPending());
             scene.key(Qt::Key_Escape);
             QTRY_VERIFY(!scene.session->isRunning());
         }},
        {"history", Model::loaded, [](PanelScene &scene, HttpServer &) { addHistory(scene); }},
        {"turn-focus", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             scene.key(Qt::Key_Tab);
         }},
        {"long-history", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             for (int i = 0; i < 6; ++i)
                 addHistory(scene);
         }},
        {"model-menu", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             scene.click(u"modelMenuButton"_s);
             QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
         }},
        {"no-access", Model::loaded,
         [](PanelScene &scene, HttpServer &) { scene.setTrusted(false); }},
        {"smallest", Model::loaded,
         [](PanelScene &scene, HttpServer &) {
             addHistory(scene);
             scene.window->resize(640, 460);
             QTRY_COMPARE(scene.item(u"history"_s).width(), 640);
         }},
    };
    return all;
}
} // namespace

/// Writes screenshots of the panel in every state, light and dark, for review.
class tst_PanelScreenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shows_data();
    void shows();
};

void tst_PanelScreenshots::shows_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("dark");
    for (int i = 0; i < states().size(); ++i) {
        for (const bool dark : {false, true})
            QTest::addRow("%s-%s", states()[i].name, dark ? "dark" : "light") << i << dark;
    }
}

void tst_PanelScreenshots::shows()
{
    QFETCH(const int, state);
    QFETCH(const bool, dark);
    HttpServer server;
    PanelScene scene(states()[state].model);
    scene.setLook({.isDark = dark, .hasReducedMotion = true});
    states()[state].reach(scene, server);
    QVERIFY(!QTest::currentTestFailed());

    const QImage picture = scene.grab();
    QCOMPARE(picture.size(), scene.window->size() * scene.window->devicePixelRatio());
    // An empty part of the surface tells whether the screenshot has that look.
    QCOMPARE(picture.pixelColor(8, picture.height() / 2).lightnessF() < 0.5F, dark);
    QDir().mkpath(u"" SCREENSHOTS ""_s);
    const QString name = QString::fromUtf8(QTest::currentDataTag());
    QVERIFY(picture.save(u"" SCREENSHOTS "/%1.png"_s.arg(name)));

    scene.sessionView->stop();
    scene.engine->releaseGeneration();
    scene.engine->releaseLoad();
    QTRY_VERIFY(!scene.session->isRunning());
    QTRY_VERIFY(scene.modelsView->state() != ModelsViewModel::Loading);
}

PANEL_TEST_MAIN(tst_PanelScreenshots)

#include "tst_PanelScreenshots.moc"
