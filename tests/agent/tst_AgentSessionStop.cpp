#include "tests/agent/SessionScene.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace Replies;
using Kind = LogEntry::Kind;

class tst_AgentSessionStop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ignoresStopWhileIdle();
    void stopsBeforeTheLoopStarts();
    void stopsAfterTheRunningReply();
    void stopDoesNotHideAFailure();
    void declinesThePendingStep();
    void stopsAfterTheRunningAction();
    void stopsAfterTheLastAction();
    void stopsAfterTheModelHasLoaded();
    void mayBeDestroyedAtAnyTime_data();
    void mayBeDestroyedAtAnyTime();
};

void tst_AgentSessionStop::ignoresStopWhileIdle()
{
    const SessionScene scene({done, done});
    scene.session->stop();
    scene.run();
    const QList<Turn> turns = scene.session->turns();
    QVERIFY(scene.session->task());
    scene.session->stop();
    QCOMPARE(scene.session->turns(), turns);
    QVERIFY(scene.isIdle());
    scene.run();
    QCOMPARE(scene.turn().summary, u"All done."_s);
}

void tst_AgentSessionStop::stopsBeforeTheLoopStarts()
{
    const SessionScene scene({done});
    scene.session->submit(u"Do it"_s);
    scene.session->stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Cancelled"_s});
    QCOMPARE(scene.kinds(), QList{Kind::info});
    QVERIFY(!scene.turn().summary);
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSessionStop::stopsAfterTheRunningReply()
{
    const SessionScene scene({listWindows});
    scene.runUntilGenerating();
    scene.session->stop();
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

void tst_AgentSessionStop::stopDoesNotHideAFailure()
{
    const SessionScene scene;
    scene.engine->addReplies({InferenceError(InferenceError::decodeFailed)});
    scene.runUntilGenerating();
    scene.session->stop();
    scene.engine->releaseGeneration();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"The model failed while generating."_s});
}

void tst_AgentSessionStop::declinesThePendingStep()
{
    const SessionScene scene({trashOld, done});
    scene.runUntilAsked();
    scene.session->stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Declined: Moving “old.zip” to Trash"_s});
    QCOMPARE(scene.turn().summary, u"I didn't do that, as requested."_s);
}

void tst_AgentSessionStop::stopsAfterTheRunningAction()
{
    // The action waits for the page to settle, and stopping shortens that.
    SessionScene scene({openPage, done});
    scene.runUntilOpening();
    QVERIFY(scene.line(0).running);
    scene.session->stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), (QStringList{u"Navigating to example.org"_s, u"Cancelled"_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::info}));
    QVERIFY(!scene.line(0).running);
    QVERIFY(!scene.turn().summary);
    QCOMPARE(scene.engine->generations().size(), 1);
}

void tst_AgentSessionStop::stopsAfterTheLastAction()
{
    SessionScene scene(searches(AgentSession::maxSteps - 1) + QStringList{openPage});
    scene.runUntilOpening();
    scene.session->stop();
    scene.waitUntilIdle();
    QCOMPARE(scene.engine->generations().size(), 12);
    QCOMPARE(scene.texts().last(), u"Cancelled"_s);
    QCOMPARE(scene.kinds().last(), Kind::info);
    QVERIFY(!scene.turn().summary);
}

void tst_AgentSessionStop::stopsAfterTheModelHasLoaded()
{
    const SessionScene scene({done}, false);
    scene.runUntilLoading();
    scene.session->stop();
    QVERIFY(scene.session->isRunning());
    scene.engine->releaseLoad();
    scene.waitUntilIdle();
    QCOMPARE(scene.texts(), QStringList{u"Cancelled"_s});
    QVERIFY(scene.engine->generations().isEmpty());
}

void tst_AgentSessionStop::mayBeDestroyedAtAnyTime_data()
{
    QTest::addColumn<QString>("moment");
    for (const char *moment : {"submitted", "loading", "thinking", "approval", "action"})
        QTest::newRow(moment) << QString::fromLatin1(moment);
}

void tst_AgentSessionStop::mayBeDestroyedAtAnyTime()
{
    QFETCH(const QString, moment);
    SessionScene scene({moment == u"approval" ? trashOld : openPage}, moment != u"loading");
    if (moment == u"loading")
        scene.runUntilLoading();
    else if (moment == u"thinking")
        scene.runUntilGenerating();
    else if (moment == u"approval")
        scene.runUntilAsked();
    else if (moment == u"action")
        scene.runUntilOpening();
    else
        scene.session->submit(u"Do it"_s);

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

QTEST_GUILESS_MAIN(tst_AgentSessionStop)
#include "tst_AgentSessionStop.moc"
