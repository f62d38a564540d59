#include "agent/SystemPrompt.h"
#include "executor/Pause.h"
#include "tests/agent/SessionScene.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Replies;
using Kind = LogEntry::Kind;

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
    void startsTheLoopFromTheEventLoop();

    void endsWhenTheModelIsDone_data();
    void endsWhenTheModelIsDone();
    void tellsTheModelWhatHappened();
    void startsANewConversationWithEachTurn();
    void tellsTheModelTheStateAfterTheAction();
    void keepsNullCharactersInErrors();
    void theTitleIsTheStatusWhileTheStepRuns();
    void continuesAfterAFailedAction();

    void stopsAtTheSameStepTwice();
    void performsStepsThatDiffer_data();
    void performsStepsThatDiffer();
    void anUnreadableReplyDoesNotHideARepeatedStep();
    void endsAtTheThirdUnreadableReply();
    void continuesAfterTwoUnreadableReplies();
    void endsAfterTwelveReplies();
    void endsTooWhenTheTwelfthReplyIsUnreadable();
    void endsWhenGeneratingFails();
    void endsWhenTheModelIsNotReady();
    void loadsAModelThatIsReady();
    void reloadsAModelThatTheEngineHasLost();
};

void tst_AgentSession::startsIdle()
{
    const SessionScene scene;
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
    QFETCH(const QString, text);
    const SessionScene scene;
    scene.session->submit(text);
    QVERIFY(scene.session->turns().isEmpty());
    QVERIFY(!scene.session->isRunning());
}

void tst_AgentSession::ignoresATaskWhileOneRuns()
{
    const SessionScene scene({done});
    scene.session->submit(u"first"_s);
    scene.session->submit(u"second"_s);
    scene.waitUntilIdle();
    QCOMPARE(scene.session->turns().size(), 1);
    QCOMPARE(scene.turn().command, u"first"_s);
    QCOMPARE(scene.engine->generations().size(), 1);
}

void tst_AgentSession::forgetsItsTurnsWhileIdle()
{
    const SessionScene scene({done, done});
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
    // The next turn is the only one again.
    scene.run();
    QCOMPARE(scene.session->turns().size(), 1);
    QVERIFY(scene.turn().finished);
}

void tst_AgentSession::keepsItsTurnsWhileOneRuns()
{
    const SessionScene scene({done});
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
    const SessionScene scene({done});
    scene.run(u"\u00a0\n Open my  Downloads \t\n"_s);
    QCOMPARE(scene.turn().command, u"Open my  Downloads"_s);
}

void tst_AgentSession::startsTheLoopFromTheEventLoop()
{
    const SessionScene scene({done});
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
    QFETCH(const QString, reply);
    QFETCH(const QString, summary);
    const SessionScene scene({reply});
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
    const SessionScene scene(
        {u"\n Sure! "_s + listWindows + u" \n"_s, readNothing, unreadable, done});
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

void tst_AgentSession::startsANewConversationWithEachTurn()
{
    SessionScene scene({listWindows, done, done});
    scene.run(u"first"_s);
    scene.platform.fakeWorkspace.front = std::nullopt;
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
    SessionScene scene({uR"({"action":"open_app","app":"Notes"})"_s, done});
    scene.platform.fakeWorkspace.folders = {u"/apps"_s};
    scene.platform.fakeWorkspace.installed.insert(u"/apps"_s,
                                                  {{{u"Notes"_s}, u"/apps/Notes.app"_s}});
    const Executor::PauseOverride pauses([](auto, const auto &) {});
    scene.run();
    QCOMPARE(scene.engine->generations().last().conversation.last().content,
             u"Result: Notes is now frontmost.\nState: Frontmost app: Notes. Windows: none"_s);
}

void tst_AgentSession::keepsNullCharactersInErrors()
{
    const QString sentence = u"Couldn't find an app called “a"_s + QChar::Null + u"b”."_s;
    const SessionScene scene({uR"({"action":"open_app","app":"a\u0000b"})"_s, done});
    scene.run();
    QCOMPARE(scene.line(0).text, u"Launching a"_s + QChar::Null + u"b — "_s + sentence);
    QCOMPARE(scene.engine->generations().last().conversation.last().content,
             u"Error: "_s + sentence + u"\nState: Frontmost app: Safari. Windows: none"_s);
}

void tst_AgentSession::theTitleIsTheStatusWhileTheStepRuns()
{
    const SessionScene scene({listWindows, done});
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

void tst_AgentSession::continuesAfterAFailedAction()
{
    const SessionScene scene({readNothing, uR"({"action":"fly_away"})"_s, done});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Opening  — Missing path."_s, u"Fly Away — Unknown action “fly_away”."_s,
                          u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::failure, Kind::failure, Kind::success}));
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSession::stopsAtTheSameStepTwice()
{
    const SessionScene scene({search(u"Downloads"_s), search(u"Downloads"_s), done});
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
    QFETCH(const QStringList, steps);
    const SessionScene scene(steps + QStringList{done});
    scene.run();
    QCOMPARE(scene.turn().log.size(), steps.size() + 1);
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSession::anUnreadableReplyDoesNotHideARepeatedStep()
{
    const SessionScene scene({readNothing, unreadable, uR"({"tool":"OPEN_PATH"})"_s});
    scene.run();
    QCOMPARE(scene.texts(), (QStringList{u"Opening  — Missing path."_s,
                                         u"Stopped: the same step was repeated."_s}));
}

void tst_AgentSession::endsAtTheThirdUnreadableReply()
{
    const SessionScene scene(
        {unreadable, listWindows, unreadable, search(u"Downloads"_s), QString()});
    scene.run();
    QCOMPARE(scene.texts().last(), u"I couldn't work out a plan for that."_s);
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::step, Kind::failure}));
    QVERIFY(!scene.turn().summary);
    QCOMPARE(scene.engine->generations().size(), 5);
}

void tst_AgentSession::continuesAfterTwoUnreadableReplies()
{
    const SessionScene scene({unreadable, unreadable, done});
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
}

void tst_AgentSession::endsAfterTwelveReplies()
{
    const SessionScene scene(searches(13));
    scene.run();
    QCOMPARE(scene.engine->generations().size(), 12);
    QCOMPARE(scene.turn().log.size(), 13);
    QCOMPARE(scene.texts().last(), u"Stopped after too many steps."_s);
    QCOMPARE(scene.kinds().last(), Kind::failure);
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QVERIFY(scene.isIdle());
}

void tst_AgentSession::endsTooWhenTheTwelfthReplyIsUnreadable()
{
    const SessionScene scene(searches(11) + QStringList{unreadable});
    scene.run();
    QCOMPARE(scene.texts().last(), u"Stopped after too many steps."_s);
}

void tst_AgentSession::endsWhenGeneratingFails()
{
    const SessionScene scene({listWindows});
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
    const SessionScene scene({done}, false);
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"The local model isn't ready yet."_s});
    QCOMPARE(scene.kinds(), QList{Kind::failure});
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.turn().finished);
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSession::loadsAModelThatIsReady()
{
    const SessionScene scene({done}, false);
    scene.addModelFile();
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
    QCOMPARE(scene.manager->state(), ModelManager::State::loaded());
}

void tst_AgentSession::reloadsAModelThatTheEngineHasLost()
{
    const SessionScene scene({done});
    QCOMPARE(scene.manager->state(), ModelManager::State::loaded());
    scene.engine->setLoaded(false);
    scene.run();
    QCOMPARE(scene.texts(), QStringList{u"All done."_s});
    QCOMPARE(scene.engine->loads().size(), 1);
}

QTEST_GUILESS_MAIN(tst_AgentSession)
#include "tst_AgentSession.moc"
