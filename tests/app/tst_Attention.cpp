#include "app/Attention.h"
#include "app/HotKey.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Waiting.h"
#include "tests/ui/ViewModels.h"

#include <QGuiApplication>
#include <QTest>
#include <QWindow>

using namespace Qt::StringLiterals;

namespace {
const QString done = uR"({"action":"done","message":"All is tidy."})"_s;
const QString trashOld = uR"({"action":"trash","path":"old.zip"})"_s;

/// A panel whose user works in another application.
struct Scene : ViewModels
{
    explicit Scene(Model model = Model::loaded) : ViewModels(model)
    {
        platform.fakeShell.setWindow(&window);
        window.isOnScreen = true;
    }
    ~Scene() { platform.fakeShell.setWindow(nullptr); }

    void run(const QStringList &replies)
    {
        for (const QString &reply : replies)
            engine->addReplies({reply});
        session->submit(task);
    }

    void focus()
    {
        platform.fakeShell.isInFront = true;
        window.isOnScreen = window.isFocused = true;
    }

    [[nodiscard]] const QStringList &calls() const { return platform.fakeShell.calls; }
    /// The notifications, without the changes to the window.
    [[nodiscard]] QStringList notices() const
    {
        QStringList found;
        for (const QString &call : calls()) {
            if (call.startsWith(u"ask ") || call.startsWith(u"tell ") || call == u"withdraw")
                found << call;
        }
        return found;
    }

    QString task = u"tidy up"_s;
    FakeNativeWindow window{u"panel"_s};
    int shows = 0;
    Attention attention{*session, *manager, window, [this] { ++shows; }};
};

// The window asks for attention for a question, and less urgently for the end of the task.
void asksForAttention(Scene &scene)
{
    scene.run({trashOld, done});
    QTRY_VERIFY(scene.sessionView->isPending());
    QCOMPARE(scene.calls(), (QStringList{u"above panel"_s, u"attention panel now"_s}));
    scene.sessionView->resolve(true);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.calls().last(), u"attention panel"_s);
}
} // namespace

class tst_Attention : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePanelIsAboveWhileATaskRuns();
    void aRecreatedWindowIsAboveToo();
    void aFocusedPanelDoesNotAskForAttention();
    void aCoveredPanelAsksForAttention();
    void aHiddenPanelAsksByANotification();
    void aHiddenPanelOfTheActiveApplicationDoesSoToo();
    void aHiddenPanelTellsHowATaskEnded_data();
    void aHiddenPanelTellsHowATaskEnded();
    void notificationsQuoteOnlyTheBeginning();
    void withoutNotificationsAHiddenPanelAsksForAttention();
    void stoppingATaskDoesNotNotify();
    void choosingTheNotificationShowsThePanel();
    void aHiddenPanelTellsWhenAModelIsReady_data();
    void aHiddenPanelTellsWhenAModelIsReady();
    void aModelThatWasThereIsNotNews();
    void aNotificationGoesWhenThePanelIsSeen_data();
    void aNotificationGoesWhenThePanelIsSeen();
};

void tst_Attention::thePanelIsAboveWhileATaskRuns()
{
    Scene scene;
    scene.focus();
    scene.engine->holdGenerations();
    scene.run({trashOld});
    QCOMPARE(scene.calls(), QStringList{u"above panel"_s});
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(scene.sessionView->isPending());
    QCOMPARE(scene.calls(), QStringList{u"above panel"_s});
    scene.sessionView->resolve(false);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.calls(), (QStringList{u"above panel"_s, u"not above panel"_s}));
}

void tst_Attention::aRecreatedWindowIsAboveToo()
{
    Scene scene;
    scene.focus();
    scene.attention.windowWasMade();
    QVERIFY(scene.calls().isEmpty());
    scene.engine->holdGenerations();
    scene.run({done});
    scene.attention.windowWasMade();
    QCOMPARE(scene.calls(), (QStringList{u"above panel"_s, u"above panel"_s}));
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_Attention::aFocusedPanelDoesNotAskForAttention()
{
    Scene scene;
    scene.focus();
    scene.run({trashOld});
    QTRY_VERIFY(scene.sessionView->isPending());
    scene.sessionView->resolve(false);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.calls(), (QStringList{u"above panel"_s, u"not above panel"_s}));
}

void tst_Attention::aCoveredPanelAsksForAttention()
{
    Scene scene;
    asksForAttention(scene);
    QCOMPARE(scene.notices(), QStringList());
}

void tst_Attention::aHiddenPanelAsksByANotification()
{
    Scene scene;
    scene.window.isOnScreen = false;
    scene.run({trashOld, done});
    QTRY_VERIFY(scene.sessionView->isPending());
    QCOMPARE(scene.notices(),
             QStringList{u"ask Quillon asks: "_s + scene.session->pending()->reason});
    QVERIFY(scene.notices().first().contains(u"Move “old.zip” to the Trash"));
    // An answered question is withdrawn.
    scene.sessionView->resolve(true);
    QCOMPARE(scene.notices().last(), u"withdraw"_s);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.notices().last(), u"tell Done: tidy up"_s);
}

// On macOS, an application without a visible window can be active.
void tst_Attention::aHiddenPanelOfTheActiveApplicationDoesSoToo()
{
    Scene scene;
    scene.focus();
    scene.window.isOnScreen = false;
    scene.run({trashOld});
    QTRY_VERIFY(scene.sessionView->isPending());
    QCOMPARE(scene.notices().size(), 1);
    scene.sessionView->resolve(false);
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_Attention::aHiddenPanelTellsHowATaskEnded_data()
{
    QTest::addColumn<QStringList>("replies");
    QTest::addColumn<QString>("notice");

    QTest::newRow("done") << QStringList{done} << u"tell Done: tidy up"_s;
    QTest::newRow("failed") << QStringList() << u"tell Not done: tidy up"_s;
}

void tst_Attention::aHiddenPanelTellsHowATaskEnded()
{
    QFETCH(const QStringList, replies);
    QFETCH(const QString, notice);
    Scene scene;
    scene.window.isOnScreen = false;
    scene.run(replies);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.notices(), QStringList{notice});
}

void tst_Attention::notificationsQuoteOnlyTheBeginning()
{
    Scene scene;
    scene.window.isOnScreen = false;
    scene.task = QString(79, u'x') + u"👩‍🚀 and more"_s;
    scene.run({done});
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.notices(),
             QStringList{u"tell Done: "_s + QString(79, u'x') + u"👩‍🚀…"_s});

    scene.platform.fakeShell.calls.clear();
    scene.task = u"write\tthis:\n\npassword 1234"_s;
    scene.run({done});
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.notices().last(), u"tell Done: write this:"_s);
}

// On macOS, there are no notifications, and the icon in the Dock bounces instead.
void tst_Attention::withoutNotificationsAHiddenPanelAsksForAttention()
{
    Scene scene;
    scene.platform.fakeShell.hasNotifier = false;
    scene.window.isOnScreen = false;
    asksForAttention(scene);
    HotKey::summon();
    QCOMPARE(scene.notices(), QStringList());
}

void tst_Attention::stoppingATaskDoesNotNotify()
{
    Scene scene;
    scene.window.isOnScreen = false;
    scene.engine->holdGenerations();
    scene.run({done});
    scene.sessionView->stop();
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.notices(), QStringList());
}

void tst_Attention::choosingTheNotificationShowsThePanel()
{
    Scene scene;
    scene.window.isOnScreen = false;
    scene.run({done});
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.shows, 0);
    scene.platform.fakeShell.chooseNotification();
    QCOMPARE(scene.shows, 1);
}

void tst_Attention::aHiddenPanelTellsWhenAModelIsReady_data()
{
    QTest::addColumn<HttpServer::Answer>("answer");
    QTest::addColumn<bool>("isHidden");
    QTest::addColumn<QStringList>("notices");
    const QByteArray file = "GGUF" + QByteArray(10'000, 'x');
    QTest::newRow("ready") << HttpServer::Answer{.body = file} << true
                           << QStringList{u"tell Quillon is ready."_s};
    QTest::newRow("failed") << HttpServer::Answer{.status = 404} << true
                            << QStringList{u"tell The model could not be downloaded."_s};
    QTest::newRow("in sight") << HttpServer::Answer{.body = file} << false << QStringList();
}

void tst_Attention::aHiddenPanelTellsWhenAModelIsReady()
{
    QFETCH(const HttpServer::Answer, answer);
    QFETCH(const bool, isHidden);
    QFETCH(const QStringList, notices);
    HttpServer server;
    server.setAnswer(u"/test.gguf"_s, answer);
    Scene scene(Scene::Model::missing);
    scene.manager->select(
        {u"test"_s, u"Test"_s, u"Small"_s, server.url(u"/test.gguf"_s), u"test.gguf"_s, 1});
    isHidden ? scene.window.hide() : scene.focus();
    scene.manager->download();
    QTRY_VERIFY(scene.modelsView->isLoaded() ||
                scene.modelsView->state() == ModelsViewModel::Failed);
    QCOMPARE(scene.notices(), notices);
    scene.manager->refresh();
}

void tst_Attention::aModelThatWasThereIsNotNews()
{
    Scene scene(Scene::Model::present);
    scene.window.hide();
    QCoro::waitFor(scene.manager->loadIfNeeded());
    QVERIFY(scene.modelsView->isLoaded());
    QVERIFY(scene.notices().isEmpty());
}

void tst_Attention::aNotificationGoesWhenThePanelIsSeen_data()
{
    QTest::addColumn<bool>("byTheHotKey");

    QTest::newRow("by the hot key") << true;
    QTest::newRow("by the task bar") << false;
}

void tst_Attention::aNotificationGoesWhenThePanelIsSeen()
{
    QFETCH(const bool, byTheHotKey);
    Scene scene;
    scene.window.isOnScreen = false;
    scene.run({done});
    QTRY_VERIFY(!scene.session->isRunning());
    QWindow shown;
    if (byTheHotKey) {
        HotKey::summon();
    } else {
        shown.show();
        shown.requestActivate();
    }
    QTRY_COMPARE(scene.notices().last(), u"withdraw"_s);
    QCOMPARE(scene.notices().size(), 2);
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    tst_Attention test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Attention.moc"
