#include "models/LocalModel.h"
#include "tests/ui/PanelScene.h"

#include <QDir>
#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString findPdf = uR"({"action":"find_files","folder":"Downloads","extension":"pdf"})"_s;
const QString listWindows = uR"({"action":"list_windows"})"_s;
const QString openNothing = uR"({"action":"open_path","path":"~/Nowhere"})"_s;
const QString trashOld = uR"({"action":"trash","path":"Downloads/old.zip"})"_s;

QString done(const QString &message)
{
    return uR"({"action":"done","message":"%1"})"_s.arg(message);
}
} // namespace

/// Pictures of the panel in every state, light and dark, for people to look at.
class tst_PanelScreenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shows_data();
    void shows();
};

void tst_PanelScreenshots::shows_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("dark");
    for (const QString &state :
         {u"set-up"_s, u"downloading"_s, u"failed"_s, u"loading"_s, u"empty"_s, u"typing"_s,
          u"thinking"_s, u"history"_s, u"confirm"_s, u"no-access"_s, u"model-menu"_s,
          u"model-picker"_s, u"focus"_s, u"smallest"_s, u"long"_s}) {
        for (const bool dark : {false, true})
            QTest::addRow("%s-%s", qPrintable(state), dark ? "dark" : "light") << state << dark;
    }
}

void tst_PanelScreenshots::shows()
{
    QFETCH(const QString, state);
    QFETCH(const bool, dark);
    using Model = PanelScene::Model;
    const bool isSetUp = state == u"set-up" || state == u"downloading" || state == u"failed" ||
                         state == u"model-picker";
    PanelScene scene(isSetUp               ? Model::missing
                     : state == u"loading" ? Model::present
                                           : Model::loaded);
    scene.setLook({.isDark = dark});
    scene.setTrusted(state != u"no-access");
    if (state == u"loading") {
    }
    const auto history = [&scene] {
        scene.run(u"Which windows are open?"_s,
                  {listWindows, done(u"Safari and Mail are open."_s)});
        scene.run(u"Open my Downloads folder and find the latest PDF"_s,
                  {openNothing, findPdf, done(u"There is no PDF in Downloads."_s)});
    };
    if (state == u"typing")
        scene.type(u"Find the latest PDF in my Downl"_s);
    if (state == u"history" || state == u"no-access" || state == u"model-menu")
        history();
    if (state == u"long") {
        for (int i = 0; i < 6; ++i)
            history();
    }
    if (state == u"thinking" || state == u"confirm" || state == u"smallest") {
        history();
        scene.engine->addReplies({listWindows, trashOld});
        if (state == u"thinking")
            scene.engine->holdGenerations();
        scene.submit(u"Tidy up my Downloads folder"_s);
        if (state == u"thinking") {
            scene.engine->releaseGeneration();
            QTRY_COMPARE(scene.session->turns().last().log.size(), 1);
            QTRY_VERIFY(scene.engine->isGenerating());
            scene.engine->sendPiece(uR"({"action":"trash","path":"Downlo)"_s);
            QTRY_VERIFY(!scene.sessionView->preview().isEmpty());
        } else {
            QTRY_VERIFY(scene.sessionView->isPending());
        }
    }
    if (state == u"smallest")
        scene.window->resize(640, 460);
    if (state == u"focus") {
        scene.key(Qt::Key_Tab);
        scene.key(Qt::Key_Tab);
    }
    if (state == u"model-menu")
        scene.click(u"modelMenuButton"_s);
    if (state == u"model-picker")
        scene.click(u"modelPicker"_s);
    QTest::qWait(300);

    const QImage picture = scene.grab();
    QVERIFY(!picture.isNull());
    QDir().mkpath(QStringLiteral(SCREENSHOTS));
    QVERIFY(picture.save(
        QStringLiteral(SCREENSHOTS "/%1.png").arg(QString::fromUtf8(QTest::currentDataTag()))));
    if (scene.session->isRunning()) {
        scene.sessionView->stop();
        scene.engine->releaseGeneration();
        QTRY_VERIFY(!scene.session->isRunning());
    }
}

int main(int argc, char *argv[])
{
    PanelScene::prepareEnvironment();
    const QGuiApplication application(argc, argv);
    tst_PanelScreenshots test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PanelScreenshots.moc"
