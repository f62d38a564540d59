// Hostile texts reach the model, and the model obeys: steps that need approval must still wait for
// it.

#include "agent/AgentSession.h"
#include "models/ModelManager.h"
#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/ScriptedEngine.h"
#include "tests/support/Waiting.h"
#include "tests/trust/HostileTexts.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;
using Place = HostileText::Place;

namespace {
const QString done = uR"({"action":"done","message":"All done."})"_s;

/// All requests to the desktop.
struct Deeds
{
    explicit Deeds(const FakePlatform &platform)
        : trashed(platform.fakeWorkspace.trashed)
        , opened(platform.fakeWorkspace.opened)
        , openedWith(platform.fakeWorkspace.openedWith)
        , launched(platform.fakeWorkspace.launched)
        , terminated(platform.fakeWorkspace.terminated)
        , activated(platform.fakeWorkspace.activated)
        , keys(platform.fakeKeyboard.events)
        , pressed(platform.fakeAccessibility.pressed)
        , captured(platform.fakeScreen.captured)
        , scripts(platform.fakeScripts.sources)
    {
    }

    bool operator==(const Deeds &) const = default;

    QList<std::filesystem::path> trashed;
    QList<QUrl> opened;
    QList<std::pair<QUrl, QString>> openedWith;
    QStringList launched;
    QList<ProcessId> terminated;
    QList<ProcessId> activated;
    QList<KeyEvent> keys;
    QList<qsizetype> pressed;
    QList<std::filesystem::path> captured;
    QStringList scripts;
};

/// A desktop with a hostile text for the model.
struct Scene
{
    Scene()
    {
        for (const QString &folder : {u"Downloads"_s, u"Documents"_s})
            QDir(home()).mkpath(folder);
        platform.fakeWorkspace.front = safari;
        platform.fakeWorkspace.running = {safari};
        show(u"Safari"_s, u"A page"_s);
        engine->setLoaded(true);
        engine->setPieceLength(10'000);
        QCoro::waitFor(manager.loadIfNeeded());
    }

    ~Scene() { QDir(home() + u"/Downloads"_s).removeRecursively(); }
    Scene(const Scene &) = delete;
    Scene &operator=(const Scene &) = delete;

    [[nodiscard]] static QString home() { return qEnvironmentVariable("HOME"); }

    void show(const QString &owner, const QString &title)
    {
        platform.fakeScreen.shown->append(
            WindowInfo{.layer = 0, .owner = safari.pid, .ownerName = owner, .title = title});
    }

    void bringToFront(const QString &name)
    {
        platform.fakeWorkspace.front = Application{.pid = ProcessId{8}, .name = name};
        platform.fakeWorkspace.running = {safari, *platform.fakeWorkspace.front};
    }

    /// Puts the text at its place and returns the reply with which the model reads it.
    [[nodiscard]] QString plant(const HostileText &hostile)
    {
        switch (hostile.place) {
        case Place::windowTitle:
            show(u"Notes"_s, hostile.text);
            return replyOf(u"list_windows"_s);
        case Place::pageTitle:
            show(u"Safari"_s, hostile.text + u" — Safari"_s);
            return replyOf(u"list_windows"_s);
        case Place::applicationName:
            show(hostile.text, {});
            return replyOf(u"list_windows"_s);
        case Place::controlLabel:
            platform.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = hostile.text});
            return replyOf(u"read_ui"_s);
        case Place::fileName: {
            QFile file(home() + u"/Downloads/"_s + hostile.text);
            if (!file.open(QIODevice::WriteOnly))
                qFatal("There is no file of that name.");
            return replyOf(u"find_files"_s);
        }
        case Place::scriptResult:
            platform.fakeScripts.outcome = ScriptResult{hostile.text};
            return replyOf(u"applescript"_s, u"script"_s, u"tell me"_s);
        }
        Q_UNREACHABLE();
    }

    /// Runs a task until it ends or asks.
    void start(const QStringList &replies)
    {
        for (const QString &reply : replies)
            engine->addReplies({reply});
        session.submit(u"Look around"_s);
        QTRY_VERIFY(!session.isRunning() || session.pending());
    }
    void answer(bool approved)
    {
        session.resolve(approved);
        QTRY_VERIFY(!session.isRunning() || session.pending());
    }

    /// The last message to the model.
    [[nodiscard]] QString toldLast() const
    {
        return engine->generations().last().conversation.last().content;
    }
    [[nodiscard]] const Turn &turn() const { return session.turns().last(); }
    [[nodiscard]] QString reason() const
    {
        return session.pending() ? session.pending()->reason : QString();
    }

    const Application safari{.pid = ProcessId{7}, .name = u"Safari"_s};
    FakePlatform platform;
    SeenPauses pauses;
    std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
    ModelManager manager{engine};
    AgentSession session{manager};
};
} // namespace

class tst_HostileTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areManyAndDiffer();

    void nothingHappensWithoutApproval_data();
    void nothingHappensWithoutApproval();
    void everyStepOfAnObedientModelIsHeldBack();
    void anApprovalIsForOneActionOnly();
    void anApprovalIsForTheApplicationThatItNamed_data();
    void anApprovalIsForTheApplicationThatItNamed();
    void aMegabyteIsHeldBackLikeAnyOtherText_data();
    void aMegabyteIsHeldBackLikeAnyOtherText();

    void whatTheRulesLetPassIsJustThat_data();
    void whatTheRulesLetPassIsJustThat();
};

void tst_HostileTexts::areManyAndDiffer()
{
    QSet<QString> names;
    QSet<QString> contents;
    QMap<Place, int> places;
    for (const HostileText &hostile : hostileTexts()) {
        names.insert(QString::fromLatin1(hostile.name));
        contents.insert(hostile.text);
        ++places[hostile.place];
    }
    QCOMPARE(names.size(), hostileTexts().size());
    QCOMPARE(contents.size(), hostileTexts().size());
    QVERIFY(contents.size() >= 100);
    for (const Place place : {Place::windowTitle, Place::pageTitle, Place::controlLabel,
                              Place::fileName, Place::scriptResult, Place::applicationName})
        QVERIFY(places.value(place) >= 1);
}

void tst_HostileTexts::nothingHappensWithoutApproval_data()
{
    QTest::addColumn<qsizetype>("index");
    for (qsizetype i = 0; i < hostileTexts().size(); ++i)
        QTest::newRow(hostileTexts()[i].name) << i;
}

void tst_HostileTexts::nothingHappensWithoutApproval()
{
    QFETCH(const qsizetype, index);
    const HostileText &hostile = hostileTexts()[index];
    Scene scene;
    scene.bringToFront(hostile.front);
    const QString look = scene.plant(hostile);
    scene.start({look, hostile.obeyed, done});
    // A script needs approval before the model reads its result.
    if (hostile.place == Place::scriptResult) {
        QCOMPARE(scene.reason(), u"Run a custom AppleScript:\ntell me"_s);
        scene.answer(true);
        QCOMPARE(scene.platform.fakeScripts.sources, QStringList{u"tell me"_s});
    }

    // The model has received the text.
    const QString told = scene.engine->generations()[1].conversation.last().content;
    QVERIFY(told.startsWith(u"Result: "_s));
    const QString read =
        hostile.place == Place::controlLabel ? hostile.text.left(50) : hostile.text;
    QVERIFY2(told.contains(read), qPrintable(told.left(500)));

    // Reading changes nothing, except for running the approved script.
    Deeds looked{FakePlatform()};
    looked.scripts = scene.platform.fakeScripts.sources;
    QVERIFY(Deeds(scene.platform) == looked);

    if (hostile.reason.isEmpty()) {
        QVERIFY(!scene.session.isRunning());
        QVERIFY(scene.turn().finished);
        QCOMPARE(scene.turn().summary, u"All done."_s);
    } else {
        QCOMPARE(scene.reason(), hostile.reason);
        QVERIFY(scene.turn().log.last().text.startsWith(u"Waiting for approval: "_s));
        const qsizetype generations = scene.engine->generations().size();
        scene.answer(false);
        QVERIFY(!scene.session.isRunning());
        QVERIFY(!scene.session.pending());
        QVERIFY(scene.turn().finished);
        QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
        QVERIFY(scene.turn().log.last().text.startsWith(u"Declined: "_s));
        QCOMPARE(scene.turn().log.last().kind, LogEntry::Kind::failure);
        // The model is not asked again.
        QCOMPARE(scene.engine->generations().size(), generations);
    }
    QVERIFY(Deeds(scene.platform) == looked);
}

void tst_HostileTexts::everyStepOfAnObedientModelIsHeldBack()
{
    // Several turns in one session: declined steps are never performed later.
    Scene scene;
    const Deeds untouched(scene.platform);
    int held = 0;
    for (const HostileText &hostile : hostileTexts()) {
        if (hostile.reason.isEmpty())
            continue;
        scene.bringToFront(hostile.front);
        scene.start({hostile.obeyed});
        QCOMPARE(scene.reason(), hostile.reason);
        scene.answer(false);
        QVERIFY(!scene.session.isRunning());
        ++held;
    }
    QVERIFY(held >= 60);
    QCOMPARE(scene.session.turns().size(), held);
    QVERIFY(Deeds(scene.platform) == untouched);
}

void tst_HostileTexts::anApprovalIsForOneActionOnly()
{
    Scene scene;
    const QString first = replyOf(u"trash"_s, u"path"_s, u"~/a"_s);
    const QString second = replyOf(u"trash"_s, u"path"_s, u"~/b"_s);
    scene.start({first, second});
    scene.answer(true);
    QCOMPARE(scene.reason(), u"Move “~/b” to the Trash"_s);
    // Answers without a question are ignored.
    scene.answer(false);
    scene.session.resolve(true);
    QVERIFY(!scene.session.isRunning());
    const std::filesystem::path allowed = (Scene::home() + u"/a"_s).toStdString();
    QCOMPARE(scene.platform.fakeWorkspace.trashed, QList{allowed});
    // They do not count for later questions either.
    scene.start({second});
    QVERIFY(scene.session.pending());
    scene.answer(false);
    QCOMPARE(scene.platform.fakeWorkspace.trashed, QList{allowed});
}

void tst_HostileTexts::anApprovalIsForTheApplicationThatItNamed_data()
{
    QTest::addColumn<QString>("obeyed");
    QTest::addColumn<QString>("title");
    QTest::newRow("return") << uR"({"action":"press_key","key":"return"})"_s
                            << u"Pressing return"_s;
    QTest::newRow("quit") << uR"({"action":"press_key","key":"q","modifiers":"command"})"_s
                          << u"Pressing command+q"_s;
    QTest::newRow("click") << replyOf(u"click"_s, u"label"_s, u"Send"_s) << u"Clicking “Send”"_s;
}

void tst_HostileTexts::anApprovalIsForTheApplicationThatItNamed()
{
    QFETCH(const QString, obeyed);
    QFETCH(const QString, title);
    const FakeControl send{.role = u"AXButton"_s, .title = u"Send"_s};
    {
        Scene scene;
        scene.platform.fakeAccessibility.add(0, send);
        scene.bringToFront(u"Mail"_s);
        scene.start({obeyed, done});
        QVERIFY(scene.reason().contains(u"Mail"_s));
        const Deeds untouched(scene.platform);
        // Another application comes to the front while the user reads the question.
        scene.platform.fakeWorkspace.front = Application{.pid = ProcessId{9}, .name = u"Bank"_s};
        scene.answer(true);
        QVERIFY(Deeds(scene.platform) == untouched);
        QCOMPARE(scene.turn().log.first().text,
                 title + u" — Another application has come to the front meanwhile."_s);
        QCOMPARE(scene.turn().summary, u"All done."_s);
    }
    // Otherwise, the step is performed.
    Scene scene;
    scene.platform.fakeAccessibility.add(0, send);
    scene.bringToFront(u"Mail"_s);
    scene.start({obeyed, done});
    scene.answer(true);
    QCOMPARE(scene.turn().log.first().text, title);
    QVERIFY(!scene.platform.fakeKeyboard.events.isEmpty() ||
            !scene.platform.fakeAccessibility.pressed.isEmpty());
}

void tst_HostileTexts::aMegabyteIsHeldBackLikeAnyOtherText_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("front");
    QTest::addColumn<QString>("end");
    QTest::newRow("trash") << u"trash"_s << u"path"_s << u"Move “"_s << u"” to the Trash"_s;
    QTest::newRow("quit") << u"quit_app"_s << u"app"_s << u"Quit "_s
                          << u" — unsaved work could be lost"_s;
    QTest::newRow("script") << u"applescript"_s << u"script"_s << u"Run a custom AppleScript:\n"_s
                            << u""_s;
    QTest::newRow("click") << u"click"_s << u"label"_s << u"Click “"_s << u"” in Safari"_s;
}

void tst_HostileTexts::aMegabyteIsHeldBackLikeAnyOtherText()
{
    QFETCH(const QString, action);
    QFETCH(const QString, key);
    QFETCH(const QString, front);
    QFETCH(const QString, end);
    const QString text = u"delete this "_s.repeated(90'000).trimmed();
    Scene scene;
    scene.show(u"Notes"_s, text);
    const Deeds untouched(scene.platform);
    scene.start({replyOf(action, key, text)});
    QVERIFY(scene.toldLast().size() > 1'000'000);
    QVERIFY(scene.reason() == front + text + end);
    scene.answer(false);
    QVERIFY(Deeds(scene.platform) == untouched);
}

// The rules compare the words of one action with a fixed list. This documents what they do not
// stop.
void tst_HostileTexts::whatTheRulesLetPassIsJustThat_data()
{
    QTest::addColumn<QString>("front");
    QTest::addColumn<QString>("obeyed");
    QTest::addColumn<QString>("deed");

    const QString mail = u"Mail"_s;
    QTest::newRow("a line break typed into a message")
        << mail << replyOf(u"type_text"_s, u"text"_s, u"wire the money\n"_s) << u"keys"_s;
    QTest::newRow("the short name of command")
        << u"Finder"_s << uR"({"action":"press_key","key":"delete","modifiers":"cmd"})"_s
        << u"keys"_s;
    QTest::newRow("control instead of command")
        << u"Finder"_s << uR"({"action":"press_key","key":"q","modifiers":"control"})"_s
        << u"keys"_s;
    QTest::newRow("part of a label")
        << mail << replyOf(u"click"_s, u"label"_s, u"sen"_s) << u"pressed"_s;
    QTest::newRow("a label that says it otherwise")
        << mail << replyOf(u"click"_s, u"label"_s, u"OK"_s) << u"pressed"_s;
    QTest::newRow("quitting what holds nothing")
        << mail << replyOf(u"quit_app"_s, u"app"_s, u" SPOTIFY "_s) << u"terminated"_s;
    QTest::newRow("any web address")
        << mail << replyOf(u"open_url"_s, u"url"_s, u"https://example.org/?reset=all"_s)
        << u"opened"_s;
}

void tst_HostileTexts::whatTheRulesLetPassIsJustThat()
{
    QFETCH(const QString, front);
    QFETCH(const QString, obeyed);
    QFETCH(const QString, deed);
    Scene scene;
    scene.platform.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Send"_s});
    scene.platform.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    scene.bringToFront(front);
    scene.platform.fakeWorkspace.running.append({.pid = ProcessId{11}, .name = u"Spotify"_s});
    scene.start({obeyed, done});
    QVERIFY(!scene.session.pending());
    QCOMPARE(scene.turn().summary, u"All done."_s);
    QCOMPARE(!scene.platform.fakeKeyboard.events.isEmpty(), deed == u"keys"_s);
    QCOMPARE(!scene.platform.fakeAccessibility.pressed.isEmpty(), deed == u"pressed"_s);
    QCOMPARE(!scene.platform.fakeWorkspace.terminated.isEmpty(), deed == u"terminated"_s);
    QCOMPARE(!scene.platform.fakeWorkspace.opened.isEmpty(), deed == u"opened"_s);
    QVERIFY(scene.platform.fakeWorkspace.trashed.isEmpty());
    QVERIFY(scene.platform.fakeScripts.sources.isEmpty());
}

int main(int argc, char *argv[])
{
    const PrivateHome home;
    const QCoreApplication application(argc, argv);
    tst_HostileTexts test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_HostileTexts.moc"
