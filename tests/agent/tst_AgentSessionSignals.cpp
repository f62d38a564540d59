#include "tests/agent/SessionScene.h"
#include "tests/support/Waiting.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace Replies;
using Kind = LogEntry::Kind;

class tst_AgentSessionSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheReplyAsItStreams();
    void dropsLatePieces();
    void announcesEveryChangeBeforeAndAfter();
    void aStepKeepsItsId();
    void stepsWithTheSameTextHaveDifferentIds();
    void aTurnIsFinishedBeforeTheSessionIsIdle();
};

void tst_AgentSessionSignals::showsTheReplyAsItStreams()
{
    const SessionScene scene;
    scene.engine->addReplies({done});
    scene.runUntilGenerating();
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

void tst_AgentSessionSignals::dropsLatePieces()
{
    const SessionScene scene({listWindows, done});
    QStringList previews;
    connect(scene.session.get(), &AgentSession::streamPreviewChanged, scene.session.get(),
            [&] { previews << scene.session->streamPreview(); });
    // One piece of the first reply arrives when its step has begun, and one after the turn.
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

void tst_AgentSessionSignals::announcesEveryChangeBeforeAndAfter()
{
    const SessionScene scene({trashOld, done});
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

void tst_AgentSessionSignals::aStepKeepsItsId()
{
    const SessionScene scene({listWindows, readNothing, done});
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

void tst_AgentSessionSignals::stepsWithTheSameTextHaveDifferentIds()
{
    // A path cannot contain a null character, so the second screenshot fails.
    const SessionScene scene({uR"({"action":"screenshot"})"_s,
                              uR"({"action":"screenshot","save_to":"a\u0000b"})"_s, done});
    scene.run();
    QCOMPARE(scene.texts(),
             (QStringList{u"Taking a screenshot"_s, u"Taking a screenshot — Invalid argument"_s,
                          u"All done."_s}));
    QCOMPARE(scene.kinds(), (QList{Kind::step, Kind::failure, Kind::success}));
    QVERIFY(scene.line(0).id != scene.line(1).id);
}

void tst_AgentSessionSignals::aTurnIsFinishedBeforeTheSessionIsIdle()
{
    const SessionScene scene({done});
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

QTEST_GUILESS_MAIN(tst_AgentSessionSignals)
#include "tst_AgentSessionSignals.moc"
