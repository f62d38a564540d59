#include "tests/support/Waiting.h"
#include "tests/ui/HistoryScene.h"

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

class tst_HistoryScrolling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheLastTurnAndTheLiveStatusInSight();
    void scrollsWithMotion();
    void scrollsAtOnceWhereMotionIsUnwanted();
    void makesRowsOnlyForWhatIsSeen();
    void rowsThatAreUsedAgainShowTheirOwnTurn();
    void scrollsByTheWheel();
    void scrollsByKeys();
    void staysAtTheEndInASmallerWindow();
};

void tst_HistoryScrolling::keepsTheLastTurnAndTheLiveStatusInSight()
{
    HistoryScene scene;
    scene.session->setTurns(manyTurns(20));
    QTRY_VERIFY(scene.showsEnd());
    scene.engine->addReplies({Say::listWindows, Say::listWindows});
    scene.engine->holdGenerations();
    scene.submit(u"The last one"_s);
    const auto liveIsBelow = [&scene] {
        const QQuickItem &live = scene.item(u"live"_s);
        const QQuickItem &history = scene.item(u"history"_s);
        const double bottom = live.mapRectToItem(&history, live.boundingRect()).bottom();
        const double top = live.mapRectToItem(&history, live.boundingRect()).top();
        return bottom <= history.height() && top >= scene.list().height() - 20;
    };
    QTRY_VERIFY(scene.showsEnd());
    QTRY_VERIFY(liveIsBelow());
    // Also with more lines.
    scene.engine->releaseGeneration();
    QTRY_COMPARE(scene.session->turns().last().log.size(), 1);
    QTRY_VERIFY(scene.showsEnd());
    QTRY_VERIFY(liveIsBelow());
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
    QTRY_VERIFY(scene.showsEnd());
}

void tst_HistoryScrolling::scrollsWithMotion()
{
    HistoryScene scene;
    scene.session->setTurns(manyTurns(20));
    QTRY_VERIFY(scene.showsEnd());
    QList<Turn> turns = scene.session->turns();
    turns << manyTurns(3);
    const double before = scene.contentY();
    scene.session->setTurns(turns);
    // It starts from the previous position.
    QVERIFY(scene.contentY() < before + 100);
    QTRY_VERIFY(scene.showsEnd());
    QVERIFY(scene.contentY() > before + 200);
}

void tst_HistoryScrolling::scrollsAtOnceWhereMotionIsUnwanted()
{
    HistoryScene scene;
    scene.setLook({.hasReducedMotion = true});
    scene.session->setTurns(manyTurns(20));
    QVERIFY(scene.showsEnd());
}

void tst_HistoryScrolling::makesRowsOnlyForWhatIsSeen()
{
    HistoryScene scene;
    scene.session->setTurns(manyTurns(200));
    QTRY_VERIFY(scene.showsEnd());
    QCOMPARE(scene.list().property("count"), 200);
    int made = 0;
    for (const QQuickItem *const item : scene.window->contentItem()->findChildren<QQuickItem *>())
        made += item->objectName() == u"turn" ? 1 : 0;
    QVERIFY2(made < 40, qPrintable(QString::number(made)));
}

void tst_HistoryScrolling::rowsThatAreUsedAgainShowTheirOwnTurn()
{
    HistoryScene scene;
    scene.setLook({.hasReducedMotion = true});
    QList<Turn> turns;
    for (int i = 0; i < 100; ++i) {
        turns << turnOf(u"Task %1"_s.arg(i),
                        QList<LogEntry>(i % 4, {.text = u"Line of %1"_s.arg(i)}),
                        i % 2 == 0 ? std::optional(u"Summary %1"_s.arg(i)) : std::nullopt);
        for (LogEntry &entry : turns.last().log)
            entry.id = QUuid::createUuid();
    }
    scene.session->setTurns(turns);
    for (const int distance : {-2000, -3000, 1500, -4000, 2500}) {
        QMetaObject::invokeMethod(&scene.item(u"history"_s), "scrollBy",
                                  Q_ARG(double, double(distance)));
        QTest::qWait(20);
        const QList<QQuickItem *> rows = scene.rows();
        QVERIFY(!rows.isEmpty());
        for (QQuickItem *const row : rows) {
            const QString command = row->property("command").toString();
            const int number = command.mid(5).toInt();
            QCOMPARE(scene.find(u"turnCommand"_s, row)->property("text"), command);
            QQuickItem *const summary = scene.find(u"turnSummary"_s, row);
            QCOMPARE(summary != nullptr, number % 2 == 0);
            int lines = 0;
            for (const QQuickItem *const line : scene.all(u"logLine"_s)) {
                if (row->isAncestorOf(line)) {
                    QCOMPARE(line->property("text"), u"Line of %1"_s.arg(number));
                    ++lines;
                }
            }
            QCOMPARE(lines, number % 4);
        }
    }
}

void tst_HistoryScrolling::scrollsByTheWheel()
{
    HistoryScene scene;
    scene.setLook({.hasReducedMotion = true});
    scene.session->setTurns(manyTurns(20));
    const double end = scene.contentY();
    const auto turnWheel = [&scene](int angle) {
        const QPointF middle = scene.list().mapToScene(scene.list().boundingRect().center());
        QWheelEvent event(middle, middle, {}, {0, angle}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(scene.window.get(), &event);
    };
    turnWheel(120);
    QCOMPARE(scene.contentY(), end - 60);
    turnWheel(-120);
    QCOMPARE(scene.contentY(), end);
    turnWheel(-1200);
    QCOMPARE(scene.contentY(), end);
    for (int i = 0; i < 100; ++i)
        turnWheel(1200);
    QVERIFY(scene.contentY() < end - 500);
    QCOMPARE(scene.rows().first()->property("command"), u"Task 0"_s);
}

void tst_HistoryScrolling::scrollsByKeys()
{
    HistoryScene scene;
    scene.setLook({.hasReducedMotion = true});
    scene.session->setTurns(manyTurns(20));
    const double end = scene.contentY();
    scene.key(Qt::Key_PageUp);
    const double page = scene.contentY();
    QVERIFY(page < end);
    // From the field and from the list too.
    scene.key(Qt::Key_Tab);
    QVERIFY(scene.hasFocus(u"turn"_s));
    scene.key(Qt::Key_PageDown);
    QCOMPARE(scene.contentY(), end);
    scene.key(Qt::Key_Up);
    QCOMPARE(scene.window->activeFocusItem()->property("command"), u"Task 18"_s);
    scene.key(Qt::Key_Home);
    QTRY_COMPARE(scene.window->activeFocusItem()->property("command"), u"Task 0"_s);
    scene.key(Qt::Key_End);
    QTRY_COMPARE(scene.window->activeFocusItem()->property("command"), u"Task 19"_s);
}

void tst_HistoryScrolling::staysAtTheEndInASmallerWindow()
{
    HistoryScene scene;
    scene.setLook({.hasReducedMotion = true});
    scene.session->setTurns(manyTurns(20));
    QVERIFY(scene.showsEnd());
    scene.window->resize(640, 460);
    QTRY_COMPARE(scene.item(u"history"_s).width(), 640);
    QTRY_VERIFY(scene.showsEnd());
}

PANEL_TEST_MAIN(tst_HistoryScrolling)

#include "tst_HistoryScrolling.moc"
