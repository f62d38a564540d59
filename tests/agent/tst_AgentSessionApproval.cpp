#include "tests/agent/SessionScene.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace Replies;
using Kind = LogEntry::Kind;

namespace {
void addStepsForTheFront()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("title");
    QTest::newRow("key") << uR"({"action":"press_key","key":"return"})"_s << u"Pressing return"_s;
    QTest::newRow("text") << uR"({"action":"type_text","text":"a"})"_s << u"Typing “a”"_s;
    QTest::newRow("click") << uR"({"action":"click","label":"OK"})"_s << u"Clicking “OK”"_s;
}
} // namespace

class tst_AgentSessionApproval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waitsForApproval();
    void performsWhatIsApproved();
    void endsWhenTheUserDeclines();
    void mayBeAnsweredInTheSignal();
    void ignoresASecondAnswer();
    void ignoresAnAnswerWithoutAQuestion();
    void aRiskyStepGoesThroughItsStates();

    void aSafeKeyIsNotPressedInAnApplicationThatComesToTheFrontMeanwhile();
    void actsOnTheApplicationThatWasAssessed_data();
    void actsOnTheApplicationThatWasAssessed();
    void aStepForTheFrontFailsIfTheFrontIsUnknown_data();
    void aStepForTheFrontFailsIfTheFrontIsUnknown();
    void otherStepsAreAskedAboutAlsoIfTheFrontIsUnknown();
    void readsTheFrontOncePerDecision();
    void activatesTheApplicationBehindOurOwn_data();
    void activatesTheApplicationBehindOurOwn();
    void anotherNameOfTheSameProcessIsAnotherApplication();
};

void tst_AgentSessionApproval::waitsForApproval()
{
    const SessionScene scene({trashOld, done});
    scene.runUntilAsked();
    QCOMPARE(scene.session->pending()->reason, u"Move “old.zip” to the Trash"_s);
    QCOMPARE(scene.session->pending()->action.title(), u"Moving “old.zip” to Trash"_s);
    QVERIFY(!scene.session->pending()->id.isNull());
    QCOMPARE(scene.session->status(), u"Moving “old.zip” to Trash"_s);
    QVERIFY(scene.session->isRunning());
    QCOMPARE(scene.texts(), QStringList{u"Waiting for approval: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.kinds(), QList{Kind::confirm});
    QVERIFY(!scene.line(0).running);
    scene.session->stop();
    scene.waitUntilIdle();
}

void tst_AgentSessionApproval::performsWhatIsApproved()
{
    const SessionScene scene({trashOld, done});
    scene.runUntilAsked();
    QVERIFY(scene.platform.fakeWorkspace.trashed.isEmpty());
    const QUuid id = scene.line(0).id;
    scene.session->resolve(true);
    QVERIFY(!scene.session->pending());
    scene.waitUntilIdle();
    QCOMPARE(scene.platform.fakeWorkspace.trashed.size(), 1);
    QCOMPARE(scene.texts(), (QStringList{u"Moving “old.zip” to Trash"_s, u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::success}));
    QCOMPARE(scene.line(0).id, id);
    QVERIFY(!scene.line(0).running);
}

void tst_AgentSessionApproval::endsWhenTheUserDeclines()
{
    const SessionScene scene({trashOld, done});
    scene.runUntilAsked();
    scene.session->resolve(false);
    scene.waitUntilIdle();
    QVERIFY(scene.platform.fakeWorkspace.trashed.isEmpty());
    QCOMPARE(scene.texts(), QStringList{u"Declined: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.kinds(), QList{Kind::failure});
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
    QCOMPARE(scene.engine->generations().size(), 1);
    QVERIFY(scene.isIdle());
}

void tst_AgentSessionApproval::mayBeAnsweredInTheSignal()
{
    const SessionScene scene({trashOld, done});
    connect(scene.session.get(), &AgentSession::pendingChanged, scene.session.get(), [&] {
        if (scene.session->pending())
            scene.session->resolve(false);
    });
    scene.run();
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSessionApproval::ignoresASecondAnswer()
{
    const SessionScene scene({trashOld, done});
    scene.runUntilAsked();
    scene.session->resolve(false);
    scene.session->resolve(true);
    scene.waitUntilIdle();
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSessionApproval::ignoresAnAnswerWithoutAQuestion()
{
    const SessionScene scene({listWindows, done});
    scene.session->resolve(true);
    scene.session->submit(u"Do it"_s);
    scene.session->resolve(false);
    scene.waitUntilIdle();
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSessionApproval::aRiskyStepGoesThroughItsStates()
{
    const SessionScene scene({trashOld, done});
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
    scene.runUntilAsked();
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

// Return needs no approval if no application is in front, but sends a message in Mail.
void tst_AgentSessionApproval::aSafeKeyIsNotPressedInAnApplicationThatComesToTheFrontMeanwhile()
{
    SessionScene scene({uR"({"action":"press_key","key":"return"})"_s, done});
    scene.platform.fakeWorkspace.front.reset();
    int looks = 0;
    scene.platform.fakeWorkspace.afterEachLook = [&] {
        const bool isAssessed = scene.session->status() == u"Pressing return"_s && ++looks == 1;
        if (isAssessed)
            scene.platform.fakeWorkspace.front =
                Application{.pid = ProcessId{8}, .name = u"Mail"_s};
    };
    scene.run();
    QCOMPARE(scene.texts().first(),
             u"Pressing return — Another application has come to the front meanwhile."_s);
    QVERIFY(scene.platform.fakeKeyboard.events.isEmpty());
}

void tst_AgentSessionApproval::actsOnTheApplicationThatWasAssessed_data()
{
    addStepsForTheFront();
}

// Mail comes to the front after the last look, when only the application can be chosen.
void tst_AgentSessionApproval::actsOnTheApplicationThatWasAssessed()
{
    QFETCH(const QString, action);
    QFETCH(const QString, title);
    SessionScene scene({action, done});
    FakePlatform &desk = scene.platform;
    desk.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    const ProcessId assessed = desk.fakeWorkspace.front->pid;
    int looks = 0;
    desk.fakeWorkspace.afterEachLook = [&] {
        if (scene.session->status() == title && ++looks == 2)
            desk.fakeWorkspace.front = Application{.pid = ProcessId{8}, .name = u"Mail"_s};
    };
    scene.run();
    QCOMPARE(scene.texts().first(), title);
    QCOMPARE(desk.fakeKeyboard.receivers + desk.fakeAccessibility.opened, QList{assessed});
    QCOMPARE(desk.fakeAccessibility.pressed.size() + desk.fakeKeyboard.finishedSources, 1);
    // The keyboard has one focus, which such an application gets back.
    QCOMPARE(desk.fakeWorkspace.activated, desk.fakeKeyboard.receivers);
}

void tst_AgentSessionApproval::aStepForTheFrontFailsIfTheFrontIsUnknown_data()
{
    addStepsForTheFront();
}

void tst_AgentSessionApproval::aStepForTheFrontFailsIfTheFrontIsUnknown()
{
    QFETCH(const QString, action);
    QFETCH(const QString, title);
    SessionScene scene({action, done});
    scene.platform.fakeWorkspace.front = Application{.pid = ProcessId{8}, .name = u"Mail"_s};
    scene.platform.fakeWorkspace.silence = u"The X server does not answer."_s;
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{title + u" — The X server does not answer."_s, u"All done."_s}));
    QVERIFY(scene.platform.fakeKeyboard.events.isEmpty());
    QVERIFY(scene.platform.fakeAccessibility.pressed.isEmpty());
}

void tst_AgentSessionApproval::otherStepsAreAskedAboutAlsoIfTheFrontIsUnknown()
{
    SessionScene scene({trashOld, done});
    scene.platform.fakeWorkspace.silence = u"The X server does not answer."_s;
    scene.runUntilAsked();
    scene.session->resolve(true);
    scene.waitUntilIdle();
    QCOMPARE(scene.platform.fakeWorkspace.trashed.size(), 1);
}

void tst_AgentSessionApproval::readsTheFrontOncePerDecision()
{
    SessionScene scene({uR"({"action":"press_key","key":"a"})"_s, done});
    int looks = 0;
    scene.platform.fakeWorkspace.afterEachLook = [&] {
        if (scene.session->status() == u"Pressing a"_s)
            ++looks;
    };
    scene.run();
    // For the assessment, before performing, and for the next state line.
    QCOMPARE(looks, 3);
}

void tst_AgentSessionApproval::activatesTheApplicationBehindOurOwn_data()
{
    QTest::addColumn<qint64>("holder");
    QTest::addColumn<bool>("isPressed");
    QTest::newRow("our panel") << QCoreApplication::applicationPid() << true;
    QTest::newRow("our terminal") << qint64{50} << true;
    QTest::newRow("another application") << qint64{9} << false;
}

void tst_AgentSessionApproval::activatesTheApplicationBehindOurOwn()
{
    QFETCH(const qint64, holder);
    QFETCH(const bool, isPressed);
    SessionScene scene({uR"({"action":"press_key","key":"return"})"_s, done});
    const Application mail{.pid = ProcessId{8}, .name = u"Mail"_s};
    const Application other{.pid = ProcessId{9}, .name = u"Other"_s};
    FakeWorkspace &desk = scene.platform.fakeWorkspace;
    desk.own.insert(ProcessId{50});
    desk.running = {mail, other};
    desk.front = mail;
    scene.runUntilAsked();
    // Now another application is the next one behind the focused window.
    desk.front = other;
    desk.focused = ProcessId{holder};
    scene.session->resolve(true);
    scene.waitUntilIdle();
    QCOMPARE(desk.activated, isPressed ? QList<ProcessId>{mail.pid} : QList<ProcessId>());
    QCOMPARE(scene.platform.fakeKeyboard.receivers,
             isPressed ? QList<ProcessId>{mail.pid} : QList<ProcessId>());
    QCOMPARE(scene.texts().first(),
             isPressed
                 ? u"Pressing return"_s
                 : u"Pressing return — Another application has come to the front meanwhile."_s);
}

void tst_AgentSessionApproval::anotherNameOfTheSameProcessIsAnotherApplication()
{
    SessionScene scene({uR"({"action":"press_key","key":"delete","modifiers":"command"})"_s, done});
    FakeWorkspace &desk = scene.platform.fakeWorkspace;
    desk.front = Application{.pid = ProcessId{8}, .name = u"Browser"_s};
    scene.runUntilAsked();
    desk.front = Application{.pid = ProcessId{8}, .name = u"Web Mail"_s};
    scene.session->resolve(true);
    scene.waitUntilIdle();
    QVERIFY2(scene.texts().first().endsWith(
                 u" — Another application has come to the front meanwhile."_s),
             qPrintable(scene.texts().first()));
    QVERIFY(scene.platform.fakeKeyboard.events.isEmpty());
}

QTEST_GUILESS_MAIN(tst_AgentSessionApproval)
#include "tst_AgentSessionApproval.moc"
