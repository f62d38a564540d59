#include "agent/AgentSession.h"
#include "agent/SystemPrompt.h"
#include "executor/Pause.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/ScriptedEngine.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

namespace {
const QString listWindows = uR"({"action":"list_windows"})"_s;
const QString readNothing = uR"({"action":"open_path"})"_s;
const QString trashOld = uR"({"action":"trash","path":"old.zip"})"_s;
const QString done = uR"({"action":"done","message":"All done."})"_s;
const QString unreadable = u" I would rather talk. "_s;

QString search(const QString &folder)
{
    return uR"({"action":"find_files","folder":"%1"})"_s.arg(folder);
}

/// A session on a scripted model and a fake desktop, in a home folder of its own.
struct Scene
{
    explicit Scene(const QStringList &replies = {}, bool isLoaded = true)
    {
        qputenv("HOME", home.path().toUtf8());
        qputenv("XDG_DATA_HOME", home.filePath(u"data"_s).toUtf8());
        QDir(home.path()).mkpath(u"Downloads"_s);
        QDir(home.path()).mkpath(u"Documents"_s);
        platform.desk.front = Application{.pid = ProcessId{7}, .name = u"Safari"_s};
        engine->setLoaded(isLoaded);
        for (const QString &reply : replies)
            engine->addReplies({reply});
        manager = std::make_unique<ModelManager>(engine);
        if (isLoaded)
            QCoro::waitFor(manager->loadIfNeeded());
        session = std::make_unique<AgentSession>(*manager);
    }

    void run(const QString &task = u"Do it"_s) const
    {
        session->submit(task);
        waitUntilIdle();
    }
    void waitUntilIdle() const { QTRY_VERIFY(!session->isRunning()); }

    [[nodiscard]] const Turn &turn() const { return session->turns().last(); }
    [[nodiscard]] const LogEntry &line(qsizetype index) const { return turn().log.at(index); }
    [[nodiscard]] QStringList texts() const
    {
        QStringList result;
        for (const LogEntry &entry : turn().log)
            result << entry.text;
        return result;
    }
    [[nodiscard]] QList<Kind> kinds() const
    {
        QList<Kind> result;
        for (const LogEntry &entry : turn().log)
            result << entry.kind;
        return result;
    }
    [[nodiscard]] bool isIdle() const
    {
        return !session->isRunning() && session->status().isEmpty() &&
               session->streamPreview().isEmpty() && !session->pending();
    }
    void stop() const { session->stop(); }

    QTemporaryDir home;
    FakePlatform platform;
    std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
    std::unique_ptr<ModelManager> manager;
    std::unique_ptr<AgentSession> session;
};
} // namespace

class tst_AgentSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsIdle();
    void ignoresBlankTasks_data();
    void ignoresBlankTasks();
    void ignoresATaskWhileOneRuns();
    void forgetsItsTurnsWhileIdle();
    void keepsItsTurnsWhileOneRuns();
    void takesTheTaskTrimmed();
    void startsTheLoopOnlyAfterSubmitReturned();

    void endsWhenTheModelIsDone_data();
    void endsWhenTheModelIsDone();
    void tellsTheModelWhatHappened();
    void tellsTheModelOfEveryTurnAnew();
    void tellsTheModelTheStateAfterTheAction();
    void tellsAnErrorToItsLastCharacter();
    void theTitleIsTheStatusWhileTheStepRuns();
    void goesOnAfterAFailedAction();

    void stopsAtTheSameStepTwice();
    void performsStepsThatDiffer_data();
    void performsStepsThatDiffer();
    void anUnreadableReplyDoesNotHideARepeatedStep();
    void endsAtTheThirdUnreadableReply();
    void goesOnAfterTwoUnreadableReplies();
    void endsAfterTwelveReplies();
    void endsSoToWhenTheTwelfthReplyIsUnreadable();
    void endsWhenGeneratingFails();
    void endsWhenTheModelIsNotReady();
    void loadsTheModelWhereItIsReady();
    void loadsTheModelThatTheEngineHasLost();
    void aHarmlessKeyIsNotPressedForWhoeverComesToTheFrontMeanwhile();

    void aStepThatDependsOnAFrontThatIsNotKnownFails_data();
    void aStepThatDependsOnAFrontThatIsNotKnownFails();
    void whatDoesNotDependOnTheFrontIsAskedAboutAllTheSame();
    void theFrontIsLookedAtOncePerDecision();
    void whatWasAskedAboutComesBackFromBehindUs_data();
    void whatWasAskedAboutComesBackFromBehindUs();
    void anotherWindowOfTheSameProcessIsAnother();
    void waitsForApproval();
    void performsWhatIsApproved();
    void endsWhenTheUserDeclines();
    void anAnswerGivenAtOnceCounts();
    void aSecondAnswerCountsForNothing();
    void anAnswerWithoutAQuestionChangesNothing();

    void stopWhileIdleChangesNothing();
    void stopBeforeTheLoopBegins();
    void stopWhileTheModelThinks();
    void stopWhileTheModelThinksAndThenFails();
    void stopWhileWaitingForApproval();
    void stopWhileAnActionRuns();
    void stopWhileTheLastActionRuns();
    void stopWhileTheModelLoads();

    void showsTheReplyAsItStreams();
    void dropsPiecesThatComeLate();
    void announcesEveryChangeBeforeAndAfter();
    void aStepKeepsItsIdentity();
    void linesOfTheSameTextAreToldApart();
    void aRiskyStepGoesThroughItsStates();
    void aTurnIsFinishedBeforeTheSessionIsIdle();
    void mayGoAwayAtAnyMoment_data();
    void mayGoAwayAtAnyMoment();
};

void tst_AgentSession::startsIdle()
{
    const Scene scene;
    QVERIFY(scene.isIdle());
    QVERIFY(scene.session->turns().isEmpty());
    QVERIFY(!scene.session->task());
    QCOMPARE(AgentSession::maxSteps, 12);
}

void tst_AgentSession::ignoresBlankTasks_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QString();
    QTest::newRow("spaces") << u"   "_s;
    QTest::newRow("line ends and tabs") << u"\r\n\t\u2028"_s;
    QTest::newRow("other spaces") << u"\u00a0\u3000"_s;
}

void tst_AgentSession::ignoresBlankTasks()
{
    QFETCH(QString, text);
    const Scene scene;
    scene.session->submit(text);
    QVERIFY(scene.session->turns().isEmpty());
    QVERIFY(!scene.session->isRunning());
}

void tst_AgentSession::ignoresATaskWhileOneRuns()
{
    const Scene scene({done});
    scene.session->submit(u"first"_s);
    scene.session->submit(u"second"_s);
    scene.waitUntilIdle();
    QCOMPARE(scene.session->turns().size(), 1);
    QCOMPARE(scene.turn().command, u"first"_s);
    QCOMPARE(scene.engine->generations().size(), 1);
}

void tst_AgentSession::forgetsItsTurnsWhileIdle()
{
    const Scene scene({done, done});
    scene.run();
    QCOMPARE(scene.session->turns().size(), 1);
    qsizetype before = -1;
    connect(scene.session.get(), &AgentSession::turnsWillChange, scene.session.get(),
            [&] { before = scene.session->turns().size(); });
    const QSignalSpy changes(scene.session.get(), &AgentSession::turnsChanged);
    scene.session->setTurns({});
    QCOMPARE(before, 1);
    QCOMPARE(changes.size(), 1);
    QVERIFY(scene.session->turns().isEmpty());
    // The next turn is the first again.
    scene.run();
    QCOMPARE(scene.session->turns().size(), 1);
    QVERIFY(scene.turn().finished);
}

void tst_AgentSession::keepsItsTurnsWhileOneRuns()
{
    const Scene scene({done});
    scene.session->submit(u"Do it"_s);
    const QSignalSpy changes(scene.session.get(), &AgentSession::turnsChanged);
    scene.session->setTurns({});
    QVERIFY(changes.isEmpty());
    QCOMPARE(scene.session->turns().size(), 1);
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
}

void tst_AgentSession::takesTheTaskTrimmed()
{
    const Scene scene({done});
    scene.run(u"\u00a0\n Open my  Downloads \t\n"_s);
    QCOMPARE(scene.turn().command, u"Open my  Downloads"_s);
}

void tst_AgentSession::startsTheLoopOnlyAfterSubmitReturned()
{
    const Scene scene({done});
    scene.session->submit(u"Do it"_s);
    QVERIFY(scene.session->isRunning());
    QVERIFY(scene.session->status().isEmpty());
    QVERIFY(scene.engine->generations().isEmpty());
    QVERIFY(!scene.turn().finished);
    QVERIFY(scene.turn().log.isEmpty());
    scene.waitUntilIdle();
    QVERIFY(scene.turn().finished);
}

void tst_AgentSession::endsWhenTheModelIsDone_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QString>("summary");
    QTest::newRow("with a message") << done << u"All done."_s;
    QTest::newRow("with blanks around it")
        << uR"({"action":"Done","message":"  Opened it. "})"_s << u"Opened it."_s;
    QTest::newRow("without a message") << uR"({"action":"done"})"_s << u"Done"_s;
    QTest::newRow("with a blank message") << uR"({"action":"done","message":" "})"_s << u"Done"_s;
}

void tst_AgentSession::endsWhenTheModelIsDone()
{
    QFETCH(QString, reply);
    QFETCH(QString, summary);
    const Scene scene({reply});
    scene.run();
    QVERIFY(scene.isIdle());
    QVERIFY(scene.turn().finished);
    QCOMPARE(scene.turn().summary, summary);
    QCOMPARE(scene.texts(), QStringList{summary});
    QCOMPARE(scene.kinds(), QList{Kind::success});
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSession::tellsTheModelWhatHappened()
{
    const QString state = u"\nState: Frontmost app: Safari. Windows: none"_s;
    const Scene scene({u"\n Sure! "_s + listWindows + u" \n"_s, readNothing, unreadable, done});
    scene.run(u" Look around "_s);

    const QList<ChatMessage> expected{
        {Role::system, systemPrompt()},
        {Role::user, u"User: Look around"_s + state},
        {Role::assistant, u"Sure! "_s + listWindows},
        {Role::user, u"Result: none"_s + state},
        {Role::assistant, readNothing},
        {Role::user, u"Error: Missing path."_s + state},
        {Role::assistant, unreadable},
        {Role::user, u"Invalid. Reply with exactly one JSON action object."_s},
    };
    const auto &generations = scene.engine->generations();
    QCOMPARE(generations.size(), 4);
    QCOMPARE(generations[0].conversation, expected.first(2));
    QCOMPARE(generations[1].conversation, expected.first(4));
    QCOMPARE(generations[2].conversation, expected.first(6));
    QCOMPARE(generations[3].conversation, expected);
    for (const auto &generation : generations)
        QCOMPARE(generation.maxTokens, 200);
}

void tst_AgentSession::tellsTheModelOfEveryTurnAnew()
{
    Scene scene({listWindows, done, done});
    scene.run(u"first"_s);
    scene.platform.desk.front = std::nullopt;
    scene.run(u"second"_s);
    const QList<ChatMessage> expected{
        {Role::system, systemPrompt()},
        {Role::user, u"User: second\nState: Frontmost app: unknown. Windows: none"_s},
    };
    QCOMPARE(scene.engine->generations().last().conversation, expected);
    QCOMPARE(scene.session->turns().size(), 2);
    QVERIFY(scene.session->turns()[0].id != scene.session->turns()[1].id);
}

void tst_AgentSession::tellsTheModelTheStateAfterTheAction()
{
    Scene scene({uR"({"action":"open_app","app":"Notes"})"_s, done});
    scene.platform.desk.folders = {u"/apps"_s};
    scene.platform.desk.installed.insert(u"/apps"_s, {{{u"Notes"_s}, u"/apps/Notes.app"_s}});
    const Executor::PauseOverride pauses([](auto, const auto &) {});
    scene.run();
    QCOMPARE(scene.engine->generations().last().conversation.last().content,
             u"Result: Notes is now frontmost.\nState: Frontmost app: Notes. Windows: none"_s);
}

void tst_AgentSession::tellsAnErrorToItsLastCharacter()
{
    const QString sentence = u"Couldn't find an app called “a"_s + QChar::Null + u"b”."_s;
    const Scene scene({uR"({"action":"open_app","app":"a\u0000b"})"_s, done});
    scene.run();
    QCOMPARE(scene.line(0).text, u"Launching a"_s + QChar::Null + u"b — "_s + sentence);
    QCOMPARE(scene.engine->generations().last().conversation.last().content,
             u"Error: "_s + sentence + u"\nState: Frontmost app: Safari. Windows: none"_s);
}

void tst_AgentSession::theTitleIsTheStatusWhileTheStepRuns()
{
    const Scene scene({listWindows, done});
    QStringList statuses;
    connect(scene.session.get(), &AgentSession::statusChanged, scene.session.get(),
            [&] { statuses << scene.session->status(); });
    scene.run();
    QCOMPARE(statuses, (QStringList{u"Thinking…"_s, u"Looking at open windows"_s, u"Thinking…"_s,
                                    QString()}));
    QCOMPARE(scene.texts(), (QStringList{u"Looking at open windows"_s, u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::success}));
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSession::goesOnAfterAFailedAction()
{
    const Scene scene({readNothing, uR"({"action":"fly_away"})"_s, done});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Opening  — Missing path."_s, u"Fly Away — Unknown action “fly_away”."_s,
                          u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::failure, Kind::failure, Kind::success}));
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSession::stopsAtTheSameStepTwice()
{
    const Scene scene({search(u"Downloads"_s), search(u"Downloads"_s), done});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Searching Downloads"_s, u"Stopped: the same step was repeated."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::failure}));
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QCOMPARE(scene.engine->generations().size(), 2);
}

void tst_AgentSession::performsStepsThatDiffer_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::newRow("in a value") << QStringList{search(u"Downloads"_s), search(u"Documents"_s)};
    QTest::newRow("in the case of a value")
        << QStringList{search(u"Downloads"_s), search(u"downloads"_s)};
    QTest::newRow("in blanks around a value")
        << QStringList{search(u"Downloads"_s), search(u"Downloads "_s)};
    QTest::newRow("in a key") << QStringList{uR"({"action":"list_windows","a":"1"})"_s,
                                             uR"({"action":"list_windows","b":"1"})"_s};
    QTest::newRow("in what looks alike when printed")
        << QStringList{uR"({"action":"list_windows","a":"1\"), (key: \"b\", value: \"2"})"_s,
                       uR"({"action":"list_windows","a":"1","b":"2"})"_s};
    QTest::newRow("in an argument more")
        << QStringList{uR"({"action":"list_windows"})"_s, uR"({"action":"list_windows","a":""})"_s};
    QTest::newRow("and a step in between")
        << QStringList{search(u"Downloads"_s), listWindows, search(u"Downloads"_s)};
}

void tst_AgentSession::performsStepsThatDiffer()
{
    QFETCH(QStringList, steps);
    const Scene scene(steps + QStringList{done});
    scene.run();
    QCOMPARE(scene.turn().log.size(), steps.size() + 1);
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSession::anUnreadableReplyDoesNotHideARepeatedStep()
{
    const Scene scene({readNothing, unreadable, uR"({"tool":"OPEN_PATH"})"_s});
    scene.run();
    QCOMPARE(scene.texts(), (QStringList{u"Opening  — Missing path."_s,
                                         u"Stopped: the same step was repeated."_s}));
}

void tst_AgentSession::endsAtTheThirdUnreadableReply()
{
    const Scene scene({unreadable, listWindows, unreadable, search(u"Downloads"_s), QString()});
    scene.run();
    QCOMPARE(scene.texts().last(), u"I couldn't work out a plan for that."_s);
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::step, Kind::failure}));
    QVERIFY(!scene.turn().summary);
    QCOMPARE(scene.engine->generations().size(), 5);
}

void tst_AgentSession::goesOnAfterTwoUnreadableReplies()
{
    const Scene scene({unreadable, unreadable, done});
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
}

void tst_AgentSession::endsAfterTwelveReplies()
{
    QStringList replies;
    for (int i = 0; i < 13; ++i)
        replies << search(i % 2 ? u"Downloads"_s : u"Documents"_s);
    const Scene scene(replies);
    scene.run();
    QCOMPARE(scene.engine->generations().size(), 12);
    QCOMPARE(scene.turn().log.size(), 13);
    QCOMPARE(scene.texts().last(), u"Stopped after too many steps."_s);
    QCOMPARE(scene.kinds().last(), Kind::failure);
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QVERIFY(scene.isIdle());
}

void tst_AgentSession::endsSoToWhenTheTwelfthReplyIsUnreadable()
{
    QStringList replies;
    for (int i = 0; i < 11; ++i)
        replies << search(i % 2 ? u"Downloads"_s : u"Documents"_s);
    const Scene scene(replies + QStringList{unreadable});
    scene.run();
    QCOMPARE(scene.texts().last(), u"Stopped after too many steps."_s);
}

void tst_AgentSession::endsWhenGeneratingFails()
{
    Scene scene({listWindows});
    scene.engine->addReplies({InferenceError(InferenceError::decodeFailed)});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Looking at open windows"_s, u"The model failed while generating."_s}));
    QCOMPARE(scene.kinds().last(), Kind::failure);
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.isIdle());
}

void tst_AgentSession::endsWhenTheModelIsNotReady()
{
    const Scene scene({done}, false);
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"The local model isn't ready yet."_s});
    QCOMPARE(scene.kinds(), QList{Kind::failure});
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSession::loadsTheModelWhereItIsReady()
{
    const Scene scene({done}, false);
    QFile file(ModelManager::directory() + u'/' + scene.manager->selected().fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    scene.manager->refresh();
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
    QCOMPARE(scene.manager->state(), ModelManager::State::loaded());
}

void tst_AgentSession::loadsTheModelThatTheEngineHasLost()
{
    const Scene scene({done});
    QCOMPARE(scene.manager->state(), ModelManager::State::loaded());
    scene.engine->setLoaded(false);
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
    QCOMPARE(scene.engine->loads().size(), 1);
}

// Return is harmless where nobody is in front, and sends what stands in Mail.
void tst_AgentSession::aHarmlessKeyIsNotPressedForWhoeverComesToTheFrontMeanwhile()
{
    Scene scene({uR"({"action":"press_key","key":"return"})"_s, done});
    scene.platform.desk.front.reset();
    int looks = 0;
    scene.platform.desk.afterEachLook = [&] {
        const bool isAssessed = scene.session->status() == u"Pressing return"_s && ++looks == 1;
        if (isAssessed)
            scene.platform.desk.front = Application{.pid = ProcessId{8}, .name = u"Mail"_s};
    };
    scene.run();
    QCOMPARE(scene.texts().first(),
             u"Pressing return — Another application has come to the front meanwhile."_s);
    QVERIFY(scene.platform.keys.events.isEmpty());
}

void tst_AgentSession::aStepThatDependsOnAFrontThatIsNotKnownFails_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("title");
    QTest::newRow("key") << uR"({"action":"press_key","key":"return"})"_s << u"Pressing return"_s;
    QTest::newRow("click") << uR"({"action":"click","label":"Open"})"_s << u"Clicking “Open”"_s;
    QTest::newRow("text") << uR"({"action":"type_text","text":"a"})"_s << u"Typing “a”"_s;
}

void tst_AgentSession::aStepThatDependsOnAFrontThatIsNotKnownFails()
{
    QFETCH(QString, action);
    QFETCH(QString, title);
    Scene scene({action, done});
    scene.platform.desk.front = Application{.pid = ProcessId{8}, .name = u"Mail"_s};
    scene.platform.desk.silence = u"The X server does not answer."_s;
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{title + u" — The X server does not answer."_s, u"All done."_s}));
    QVERIFY(scene.platform.keys.events.isEmpty());
    QVERIFY(scene.platform.controls.pressed.isEmpty());
}

void tst_AgentSession::whatDoesNotDependOnTheFrontIsAskedAboutAllTheSame()
{
    Scene scene({trashOld, done});
    scene.platform.desk.silence = u"The X server does not answer."_s;
    scene.session->submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.session->pending());
    scene.session->resolve(true);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.platform.desk.trashed.size(), 1);
}

void tst_AgentSession::theFrontIsLookedAtOncePerDecision()
{
    Scene scene({uR"({"action":"press_key","key":"a"})"_s, done});
    int looks = 0;
    scene.platform.desk.afterEachLook = [&] {
        if (scene.session->status() == u"Pressing a"_s)
            ++looks;
    };
    scene.run();
    // To decide, before acting, to hand the keyboard over; and to tell the model afterwards.
    QCOMPARE(looks, 4);
}

void tst_AgentSession::whatWasAskedAboutComesBackFromBehindUs_data()
{
    QTest::addColumn<qint64>("holder");
    QTest::addColumn<bool>("isPressed");
    QTest::newRow("our panel") << qint64{QCoreApplication::applicationPid()} << true;
    QTest::newRow("our terminal") << qint64{50} << true;
    QTest::newRow("another application") << qint64{9} << false;
}

void tst_AgentSession::whatWasAskedAboutComesBackFromBehindUs()
{
    QFETCH(qint64, holder);
    QFETCH(bool, isPressed);
    Scene scene({uR"({"action":"press_key","key":"return"})"_s, done});
    const Application mail{.pid = ProcessId{8}, .name = u"Mail"_s};
    const Application other{.pid = ProcessId{9}, .name = u"Other"_s};
    FakeWorkspace &desk = scene.platform.desk;
    desk.own.insert(ProcessId{50});
    desk.running = {mail, other};
    desk.front = mail;
    scene.session->submit(u"Send it"_s);
    QTRY_VERIFY(scene.session->pending());
    // Behind what has the keyboard, another application is the nearest one now.
    desk.front = other;
    desk.focused = ProcessId{holder};
    scene.session->resolve(true);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(desk.activated, isPressed ? QList<ProcessId>{mail.pid} : QList<ProcessId>());
    QCOMPARE(scene.platform.keys.receivers,
             isPressed ? QList<ProcessId>{mail.pid} : QList<ProcessId>());
    QCOMPARE(scene.texts().first(),
             isPressed
                 ? u"Pressing return"_s
                 : u"Pressing return — Another application has come to the front meanwhile."_s);
}

void tst_AgentSession::anotherWindowOfTheSameProcessIsAnother()
{
    Scene scene({uR"({"action":"press_key","key":"delete","modifiers":"command"})"_s, done});
    FakeWorkspace &desk = scene.platform.desk;
    desk.front = Application{.pid = ProcessId{8}, .name = u"Browser"_s};
    scene.session->submit(u"Delete it"_s);
    QTRY_VERIFY(scene.session->pending());
    desk.front = Application{.pid = ProcessId{8}, .name = u"Web Mail"_s};
    scene.session->resolve(true);
    QTRY_VERIFY(!scene.session->isRunning());
    QVERIFY2(scene.texts().first().endsWith(
                 u" — Another application has come to the front meanwhile."_s),
             qPrintable(scene.texts().first()));
    QVERIFY(scene.platform.keys.events.isEmpty());
}

void tst_AgentSession::waitsForApproval()
{
    const Scene scene({trashOld, done});
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    QCOMPARE(scene.session->pending()->reason, u"Move “old.zip” to the Trash"_s);
    QCOMPARE(scene.session->pending()->action.title(), u"Moving “old.zip” to Trash"_s);
    QVERIFY(!scene.session->pending()->id.isNull());
    QCOMPARE(scene.session->status(), u"Moving “old.zip” to Trash"_s);
    QVERIFY(scene.session->isRunning());
    QCOMPARE(scene.texts(), QStringList{u"Waiting for approval: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.kinds(), QList{Kind::confirm});
    QVERIFY(!scene.line(0).running);
    scene.stop();
    scene.waitUntilIdle();
}

void tst_AgentSession::performsWhatIsApproved()
{
    const Scene scene({trashOld, done});
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    QVERIFY(scene.platform.desk.trashed.isEmpty());
    const QUuid id = scene.line(0).id;
    scene.session->resolve(true);
    QVERIFY(!scene.session->pending());
    scene.waitUntilIdle();
    QCOMPARE(scene.platform.desk.trashed.size(), 1);
    QCOMPARE(scene.texts(), (QStringList{u"Moving “old.zip” to Trash"_s, u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::success}));
    QCOMPARE(scene.line(0).id, id);
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSession::endsWhenTheUserDeclines()
{
    const Scene scene({trashOld, done});
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    scene.session->resolve(false);
    scene.waitUntilIdle();
    QVERIFY(scene.platform.desk.trashed.isEmpty());
    QCOMPARE(scene.texts(), QStringList{u"Declined: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.kinds(), QList{Kind::failure});
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
    QCOMPARE(scene.engine->generations().size(), 1);
    QVERIFY(scene.isIdle());
}

void tst_AgentSession::anAnswerGivenAtOnceCounts()
{
    const Scene scene({trashOld, done});
    connect(scene.session.get(), &AgentSession::pendingChanged, scene.session.get(), [&] {
        if (scene.session->pending())
            scene.session->resolve(false);
    });
    scene.run();
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSession::aSecondAnswerCountsForNothing()
{
    const Scene scene({trashOld, done});
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    scene.session->resolve(false);
    scene.session->resolve(true);
    scene.waitUntilIdle();
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSession::anAnswerWithoutAQuestionChangesNothing()
{
    const Scene scene({listWindows, done});
    scene.session->resolve(true);
    scene.session->submit(u"Do it"_s);
    scene.session->resolve(false);
    scene.waitUntilIdle();
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSession::stopWhileIdleChangesNothing()
{
    const Scene scene({done, done});
    scene.stop();
    scene.run();
    const QList<Turn> turns = scene.session->turns();
    QVERIFY(scene.session->task());
    scene.stop();
    QCOMPARE(scene.session->turns(), turns);
    QVERIFY(scene.isIdle());
    scene.run();
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSession::stopBeforeTheLoopBegins()
{
    const Scene scene({done});
    scene.session->submit(u"Do it"_s);
    scene.stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Cancelled"_s});
    QCOMPARE(scene.kinds(), QList{Kind::info});
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSession::stopWhileTheModelThinks()
{
    const Scene scene({listWindows});
    scene.engine->holdGenerations();
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.engine->generations().size(), 1);
    scene.stop();
    QTest::qWait(0);
    QVERIFY(scene.session->isRunning());
    scene.engine->releaseGeneration();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Cancelled"_s});
    QCOMPARE(scene.kinds(), QList{Kind::info});
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QVERIFY(scene.isIdle());
}

void tst_AgentSession::stopWhileTheModelThinksAndThenFails()
{
    const Scene scene;
    scene.engine->addReplies({InferenceError(InferenceError::decodeFailed)});
    scene.engine->holdGenerations();
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.engine->generations().size(), 1);
    scene.stop();
    scene.engine->releaseGeneration();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"The model failed while generating."_s});
}

void tst_AgentSession::stopWhileWaitingForApproval()
{
    const Scene scene({trashOld, done});
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    scene.stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Declined: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSession::stopWhileAnActionRuns()
{
    // The action waits for the page to settle, and is told to hurry by the stop.
    Scene scene({uR"({"action":"open_url","url":"example.org"})"_s, done});
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.platform.desk.opened.size(), 1);
    QVERIFY(scene.line(0).running);
    scene.stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), (QStringList{u"Navigating to example.org"_s, u"Cancelled"_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::info}));
    QVERIFY(!scene.line(0).running);
    QVERIFY(!scene.turn().summary);
    QCOMPARE(scene.engine->generations().size(), 1);
}

void tst_AgentSession::stopWhileTheLastActionRuns()
{
    QStringList replies;
    for (int i = 0; i < AgentSession::maxSteps - 1; ++i)
        replies << search(i % 2 ? u"Downloads"_s : u"Documents"_s);
    Scene scene(replies + QStringList{uR"({"action":"open_url","url":"example.org"})"_s});
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.platform.desk.opened.size(), 1);
    scene.stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.engine->generations().size(), 12);
    QCOMPARE(scene.texts().last(), u"Cancelled"_s);
    QCOMPARE(scene.kinds().last(), Kind::info);
    QVERIFY(!scene.turn().summary);
}

void tst_AgentSession::stopWhileTheModelLoads()
{
    const Scene scene({done}, false);
    QFile file(ModelManager::directory() + u'/' + scene.manager->selected().fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    scene.manager->refresh();
    scene.engine->holdLoads();
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.manager->state(), ModelManager::State::loading());
    scene.stop();
    QVERIFY(scene.session->isRunning());
    scene.engine->releaseLoad();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Cancelled"_s});
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSession::showsTheReplyAsItStreams()
{
    const Scene scene;
    scene.engine->addReplies({done});
    scene.engine->holdGenerations();
    scene.session->submit(u"Do it"_s);
    QTRY_COMPARE(scene.engine->generations().size(), 1);
    QCOMPARE(scene.session->status(), u"Thinking…"_s);
    QVERIFY(scene.session->streamPreview().isEmpty());
    scene.engine->sendPiece(u"{\"act"_s);
    scene.engine->sendPiece(QString());
    scene.engine->sendPiece(u"ion…\n"_s);
    QTRY_COMPARE(scene.session->streamPreview(), u"{\"action…\n"_s);
    scene.engine->releaseGeneration();
    scene.waitUntilIdle();
    QVERIFY(scene.session->streamPreview().isEmpty());
}

void tst_AgentSession::dropsPiecesThatComeLate()
{
    const Scene scene({listWindows, done});
    QStringList previews;
    connect(scene.session.get(), &AgentSession::streamPreviewChanged, scene.session.get(),
            [&] { previews << scene.session->streamPreview(); });
    // A piece of the first reply that arrives when its step has begun, and one after the turn.
    connect(scene.session.get(), &AgentSession::statusChanged, scene.session.get(), [&] {
        if (scene.session->status() == u"Looking at open windows")
            scene.engine->sendPiece(u"late"_s);
    });
    scene.run();
    scene.engine->sendPiece(u"late"_s);
    QTest::qWait(1);
    QVERIFY(!previews.join(u'\n').contains(u"late"_s));
    QVERIFY(previews.contains(listWindows));
    QVERIFY(scene.session->streamPreview().isEmpty());
}

void tst_AgentSession::announcesEveryChangeBeforeAndAfter()
{
    const Scene scene({trashOld, done});
    AgentSession &session = *scene.session;
    struct Values
    {
        QList<Turn> turns;
        bool isRunning = false;
        QString status;
        QString preview;
        bool isPending = false;
        bool operator==(const Values &) const = default;
    };
    const auto values = [&] {
        return Values{session.turns(), session.isRunning(), session.status(),
                      session.streamPreview(), session.pending().has_value()};
    };
    Values before = values();
    int changes = 0;
    bool wasAnnounced = true;
    const auto willChange = [&] { wasAnnounced = wasAnnounced && values() == before; };
    const auto changed = [&] {
        before = values();
        ++changes;
    };
    connect(&session, &AgentSession::turnsWillChange, &session, willChange);
    connect(&session, &AgentSession::turnsChanged, &session, changed);
    connect(&session, &AgentSession::isRunningWillChange, &session, willChange);
    connect(&session, &AgentSession::isRunningChanged, &session, changed);
    connect(&session, &AgentSession::statusWillChange, &session, willChange);
    connect(&session, &AgentSession::statusChanged, &session, changed);
    connect(&session, &AgentSession::streamPreviewWillChange, &session, willChange);
    connect(&session, &AgentSession::streamPreviewChanged, &session, changed);
    connect(&session, &AgentSession::pendingWillChange, &session, willChange);
    connect(&session, &AgentSession::pendingChanged, &session, changed);

    session.submit(u"Do it"_s);
    QTRY_VERIFY(session.pending());
    session.resolve(true);
    scene.waitUntilIdle();
    QVERIFY(wasAnnounced);
    QVERIFY(changes > 10);
    QCOMPARE(values(), before);
}

void tst_AgentSession::aStepKeepsItsIdentity()
{
    const Scene scene({listWindows, readNothing, done});
    QList<QUuid> seen;
    connect(scene.session.get(), &AgentSession::turnsChanged, scene.session.get(), [&] {
        for (const LogEntry &entry : scene.turn().log) {
            if (!seen.contains(entry.id))
                seen << entry.id;
        }
    });
    scene.run();
    QCOMPARE(seen.size(), 3);
}

void tst_AgentSession::linesOfTheSameTextAreToldApart()
{
    // No path holds a null character, so the second picture fails.
    const Scene scene({uR"({"action":"screenshot"})"_s,
                       uR"({"action":"screenshot","save_to":"a\u0000b"})"_s, done});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Taking a screenshot"_s, u"Taking a screenshot — Invalid argument"_s,
                          u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::failure, Kind::success}));
    QVERIFY(scene.line(0).id != scene.line(1).id);
}

void tst_AgentSession::aRiskyStepGoesThroughItsStates()
{
    const Scene scene({trashOld, done});
    const QUuid none;
    QList<LogEntry> states;
    connect(scene.session.get(), &AgentSession::turnsChanged, scene.session.get(), [&] {
        if (scene.turn().log.isEmpty())
            return;
        LogEntry state = scene.line(0);
        state.id = none;
        if (states.isEmpty() || states.last() != state)
            states << state;
    });
    scene.session->submit(u"Do it"_s);
    QTRY_VERIFY(scene.session->pending());
    scene.session->resolve(true);
    scene.waitUntilIdle();
    const QString title = u"Moving “old.zip” to Trash"_s;
    const QList<LogEntry> expected{
        {.id = none, .text = title, .kind = Kind::step, .running = true},
        {.id = none,
         .text = u"Waiting for approval: "_s + title,
         .kind = Kind::confirm,
         .running = false},
        {.id = none, .text = title, .kind = Kind::step, .running = true},
        {.id = none, .text = title, .kind = Kind::step, .running = false}};
    QCOMPARE(states, expected);
}

void tst_AgentSession::aTurnIsFinishedBeforeTheSessionIsIdle()
{
    const Scene scene({done});
    QStringList order;
    connect(scene.session.get(), &AgentSession::turnsChanged, scene.session.get(), [&] {
        if (scene.turn().finished)
            order << u"turn"_s;
    });
    connect(scene.session.get(), &AgentSession::isRunningChanged, scene.session.get(), [&] {
        if (!scene.session->isRunning())
            order << u"running"_s;
    });
    connect(scene.session.get(), &AgentSession::statusChanged, scene.session.get(), [&] {
        if (scene.session->status().isEmpty())
            order << u"status"_s;
    });
    connect(scene.session.get(), &AgentSession::streamPreviewChanged, scene.session.get(), [&] {
        if (!scene.session->isRunning())
            order << u"preview"_s;
    });
    scene.run();
    QCOMPARE(order, (QStringList{u"turn"_s, u"running"_s, u"status"_s, u"preview"_s}));
}

void tst_AgentSession::mayGoAwayAtAnyMoment_data()
{
    QTest::addColumn<QString>("moment");
    for (const char *moment : {"submitted", "loading", "thinking", "approval", "action"})
        QTest::newRow(moment) << QString::fromLatin1(moment);
}

void tst_AgentSession::mayGoAwayAtAnyMoment()
{
    QFETCH(QString, moment);
    Scene scene({}, moment != u"loading");
    scene.engine->addReplies(
        {moment == u"approval" ? trashOld : uR"({"action":"open_url","url":"a.org"})"_s});
    if (moment == u"loading") {
        QFile file(ModelManager::directory() + u'/' + scene.manager->selected().fileName);
        QVERIFY(file.open(QIODevice::WriteOnly));
        scene.manager->refresh();
        scene.engine->holdLoads();
    }
    if (moment == u"thinking")
        scene.engine->holdGenerations();

    scene.session->submit(u"Do it"_s);
    if (moment == u"loading")
        QTRY_COMPARE(scene.manager->state(), ModelManager::State::loading());
    else if (moment == u"thinking")
        QTRY_COMPARE(scene.engine->generations().size(), 1);
    else if (moment == u"approval")
        QTRY_VERIFY(scene.session->pending());
    else if (moment == u"action")
        QTRY_COMPARE(scene.platform.desk.opened.size(), 1);

    const std::shared_ptr<Cancellation> task = scene.session->task();
    scene.session.reset();
    if (moment == u"thinking") {
        scene.engine->sendPiece(u"late"_s);
        scene.engine->releaseGeneration();
    }
    if (moment == u"loading")
        scene.engine->releaseLoad();
    task->cancel();
    QTest::qWait(20);
    QCOMPARE(scene.engine->generations().size(),
             moment == u"submitted" || moment == u"loading" ? 0 : 1);
}

QTEST_GUILESS_MAIN(tst_AgentSession)
#include "tst_AgentSession.moc"
