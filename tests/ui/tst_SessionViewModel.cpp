#include "tests/support/Waiting.h"
#include "tests/ui/ViewModels.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

namespace {
const QString done = uR"({"action":"done","message":"All done."})"_s;
const QString listWindows = uR"({"action":"list_windows"})"_s;
const QString trashOld = uR"({"action":"trash","path":"old.zip"})"_s;

void waitUntilIdle(const AgentSession &session)
{
    QTRY_VERIFY(!session.isRunning());
}
} // namespace

class tst_SessionViewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsATask();
    void keepsItsRowsWhileATaskRuns();
    void showsTheEndOfTheReply();
    void announcesAFastReplyInModeration();
    void showsWhatWaitsForApproval();
    void allowsAndDeclines_data();
    void allowsAndDeclines();
    void stopsAtOnceWhileApprovalIsAwaited();
    void stopsWhileTheModelThinks();
    void stoppingWhileIdleChangesNothing();
    void clearsTheHistoryWhileIdleOnly();
    void copiesATurn();
    void startsWithTheTurnsThatAreThere();
};

void tst_SessionViewModel::followsATask()
{
    ViewModels scene;
    SessionViewModel &view = *scene.sessionView;
    QVERIFY(!view.hasTurns());
    QVERIFY(!view.isRunning());
    QSignalSpy running(&view, &SessionViewModel::isRunningChanged);
    scene.engine->addReplies({listWindows, done});
    scene.engine->holdGenerations();
    view.submit(u" Which windows are open? "_s);
    QVERIFY(view.isRunning());
    QVERIFY(view.hasTurns());
    QTRY_COMPARE(view.status(), u"Thinking…"_s);
    scene.engine->releaseGeneration();
    scene.engine->releaseGeneration();
    waitUntilIdle(*scene.session);
    QCOMPARE(running.size(), 2);
    QCOMPARE(view.status(), QString());
    QCOMPARE(view.turns()->index(0).data(TurnsModel::Command), u"Which windows are open?"_s);
    QCOMPARE(view.turns()->index(0).data(TurnsModel::Summary), u"All done."_s);
}

void tst_SessionViewModel::keepsItsRowsWhileATaskRuns()
{
    ViewModels scene;
    QSignalSpy inserted(scene.sessionView->turns(), &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(scene.sessionView->turns(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(scene.sessionView->turns(), &QAbstractItemModel::modelReset);
    scene.engine->addReplies({listWindows, done, listWindows, done});
    for (int i = 0; i < 2; ++i) {
        scene.sessionView->submit(u"Which windows are open?"_s);
        waitUntilIdle(*scene.session);
    }
    QCOMPARE(inserted.size(), 2);
    QCOMPARE(removed.size(), 0);
    QCOMPARE(reset.size(), 0);
}

void tst_SessionViewModel::showsTheEndOfTheReply()
{
    ViewModels scene;
    SessionViewModel &view = *scene.sessionView;
    scene.engine->addReplies({done});
    scene.engine->holdGenerations();
    view.submit(u"Anything"_s);
    QTRY_VERIFY(scene.engine->isGenerating());
    QCOMPARE(view.preview(), QString());
    scene.engine->sendPiece(QString(80, u'a'));
    scene.engine->sendPiece(u"\n"_s + QString(60, u'b'));
    QTRY_COMPARE(view.preview(), QString(29, u'a') + u' ' + QString(60, u'b'));
    scene.engine->releaseGeneration();
    waitUntilIdle(*scene.session);
    QCOMPARE(view.preview(), QString());
}

void tst_SessionViewModel::announcesAFastReplyInModeration()
{
    ViewModels scene;
    SessionViewModel &view = *scene.sessionView;
    scene.engine->addReplies({done});
    scene.engine->holdGenerations();
    view.submit(u"Anything"_s);
    QTRY_VERIFY(scene.engine->isGenerating());
    QSignalSpy pieces(scene.session.get(), &AgentSession::streamPreviewChanged);
    QSignalSpy announcements(&view, &SessionViewModel::previewChanged);
    for (int i = 0; i < 1000; ++i)
        scene.engine->sendPiece(u"x"_s);
    QTRY_COMPARE(pieces.size(), 1000);
    QTRY_COMPARE(view.preview(), QString(90, u'x'));
    QVERIFY(announcements.size() < 500);
    scene.engine->releaseGeneration();
    waitUntilIdle(*scene.session);
}

void tst_SessionViewModel::showsWhatWaitsForApproval()
{
    ViewModels scene;
    SessionViewModel &view = *scene.sessionView;
    QVERIFY(!view.isPending());
    QCOMPARE(view.pendingReason(), QString());
    scene.engine->addReplies({trashOld});
    view.submit(u"Tidy up"_s);
    QTRY_VERIFY(view.isPending());
    QCOMPARE(view.pendingReason(), scene.session->pending()->reason);
    QVERIFY(!view.pendingReason().isEmpty());
    view.resolve(false);
    QVERIFY(!view.isPending());
    waitUntilIdle(*scene.session);
}

void tst_SessionViewModel::allowsAndDeclines_data()
{
    QTest::addColumn<bool>("approved");
    QTest::newRow("allow") << true;
    QTest::newRow("decline") << false;
}

void tst_SessionViewModel::allowsAndDeclines()
{
    QFETCH(const bool, approved);
    ViewModels scene;
    QFile old(scene.home.filePath(u"home/old.zip"_s));
    QVERIFY(old.open(QIODevice::WriteOnly));
    scene.engine->addReplies({trashOld, done});
    scene.sessionView->submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    scene.sessionView->resolve(approved);
    waitUntilIdle(*scene.session);
    QCOMPARE(scene.platform.fakeWorkspace.trashed.size(), approved ? 1 : 0);
}

void tst_SessionViewModel::stopsAtOnceWhileApprovalIsAwaited()
{
    ViewModels scene;
    scene.engine->addReplies({trashOld, done});
    scene.sessionView->submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    // The task is cancelled before the confirmation is declined.
    bool wasCancelled = false;
    connect(scene.sessionView.get(), &SessionViewModel::pendingChanged, this,
            [&] { wasCancelled = scene.session->task()->isCancelled(); });
    scene.sessionView->stop();
    QVERIFY(wasCancelled);
    QVERIFY(!scene.sessionView->isPending());
    waitUntilIdle(*scene.session);
    QVERIFY(scene.session->task()->isCancelled());
    QCOMPARE(scene.session->turns().last().summary, u"I didn't do that, as requested."_s);
    QVERIFY(scene.platform.fakeWorkspace.trashed.isEmpty());
}

void tst_SessionViewModel::stopsWhileTheModelThinks()
{
    ViewModels scene;
    scene.engine->addReplies({listWindows});
    scene.engine->holdGenerations();
    scene.sessionView->submit(u"Anything"_s);
    QTRY_VERIFY(scene.engine->isGenerating());
    scene.sessionView->stop();
    scene.engine->releaseGeneration();
    waitUntilIdle(*scene.session);
    QCOMPARE(scene.session->turns().last().log.last().text, u"Cancelled"_s);
}

void tst_SessionViewModel::stoppingWhileIdleChangesNothing()
{
    ViewModels scene;
    scene.sessionView->stop();
    scene.engine->addReplies({done});
    scene.sessionView->submit(u"Anything"_s);
    waitUntilIdle(*scene.session);
    const QList<Turn> turns = scene.session->turns();
    scene.sessionView->stop();
    QCOMPARE(scene.session->turns(), turns);
}

void tst_SessionViewModel::clearsTheHistoryWhileIdleOnly()
{
    ViewModels scene;
    SessionViewModel &view = *scene.sessionView;
    scene.engine->addReplies({done, done});
    view.submit(u"Anything"_s);
    waitUntilIdle(*scene.session);
    scene.engine->holdGenerations();
    view.submit(u"Something else"_s);
    view.clearHistory();
    QCOMPARE(view.turns()->rowCount(), 2);
    scene.engine->releaseGeneration();
    waitUntilIdle(*scene.session);
    view.clearHistory();
    QCOMPARE(view.turns()->rowCount(), 0);
    QVERIFY(!view.hasTurns());
    QVERIFY(scene.session->turns().isEmpty());
}

void tst_SessionViewModel::copiesATurn()
{
    ViewModels scene;
    scene.engine->addReplies({listWindows, done});
    scene.sessionView->submit(u"Which windows are open?"_s);
    waitUntilIdle(*scene.session);
    scene.sessionView->copyTurn(0);
    const QString copied =
        u"Which windows are open?\nLooking at open windows\nAll done.\nAll done."_s;
    QCOMPARE(QGuiApplication::clipboard()->text(), copied);
    scene.sessionView->copyTurn(1);
    QCOMPARE(QGuiApplication::clipboard()->text(), copied);
}

void tst_SessionViewModel::startsWithTheTurnsThatAreThere()
{
    ViewModels scene;
    scene.session->setTurns({{.command = u"Earlier"_s}});
    const SessionViewModel later(*scene.session);
    QVERIFY(later.hasTurns());
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    tst_SessionViewModel test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SessionViewModel.moc"
