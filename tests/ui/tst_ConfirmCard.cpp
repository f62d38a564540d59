#include "tests/support/Waiting.h"
#include "tests/ui/ConfirmScene.h"

using namespace Qt::StringLiterals;

class tst_ConfirmCard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatAndWhy();
    void coversTheCentre();
    void allowsByMouse();
    void declinesByMouse();
    void returnAllows_data();
    void returnAllows();
    void escapeDeclinesAndDoesNotHide();
    void aHeldEscapeDeclinesOnce();
    void waitsBeforeItTakesApproval();
    void aReturnThatWasOnItsWayApprovesNothing_data();
    void aReturnThatWasOnItsWayApprovesNothing();
    void aHeldReturnApprovesNothing();
    void typingOnRestartsTheWait();
    void cancellingNeedsNoWait();
    void returnOnCancelDeclines();
    void holdsTheKeyboard();
    void keepsTheKeyboardWhenSummoned();
    void givesTheKeyboardBack();
    void theNextCardWaitsAnew();
    void stopRefuses();
    void coversWhatIsBehind();
    void dimsWhatIsBehind_data();
    void dimsWhatIsBehind();
};

void tst_ConfirmCard::saysWhatAndWhy()
{
    ConfirmScene scene;
    QVERIFY(!scene.find(u"confirmCard"_s));
    scene.ask();
    QCOMPARE(scene.text(u"confirmHeading"_s), u"Confirm action"_s);
    QCOMPARE(scene.item(u"confirmSymbol"_s).property("name"), u"exclamationmark.shield.fill"_s);
    QCOMPARE(scene.text(u"confirmReason"_s), scene.session->pending()->reason);
    QCOMPARE(scene.text(u"cancelButton"_s), u"Cancel"_s);
    QCOMPARE(scene.text(u"allowButton"_s), u"Allow"_s);
    QVERIFY(scene.item(u"allowButton"_s).property("prominent").toBool());
    QVERIFY(!scene.item(u"cancelButton"_s).property("prominent").toBool());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(!scene.find(u"confirmCard"_s));
}

void tst_ConfirmCard::coversTheCentre()
{
    ConfirmScene scene;
    scene.ask();
    const QQuickItem &history = scene.item(u"history"_s);
    const QQuickItem &face = scene.item(u"confirmFace"_s);
    QCOMPARE(scene.card->mapRectToScene(scene.card->boundingRect()),
             history.mapRectToScene(history.boundingRect()));
    const QPointF middle = face.mapRectToScene(face.boundingRect()).center();
    QVERIFY(qAbs(middle.x() - 360) <= 1);
    QVERIFY(scene.card->mapRectToScene(scene.card->boundingRect())
                .contains(face.mapRectToScene(face.boundingRect())));
    QVERIFY(scene.find(u"live"_s));
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::allowsByMouse()
{
    ConfirmScene scene;
    scene.ask();
    scene.click(u"allowButton"_s);
    QVERIFY(!scene.sessionView->isPending());
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::declinesByMouse()
{
    ConfirmScene scene;
    scene.ask();
    scene.click(u"cancelButton"_s);
    QVERIFY(!scene.sessionView->isPending());
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::returnAllows_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Return") << Qt::Key_Return;
    QTest::newRow("Enter") << Qt::Key_Enter;
}

void tst_ConfirmCard::returnAllows()
{
    QFETCH(const Qt::Key, key);
    ConfirmScene scene;
    scene.ask();
    scene.key(key);
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::escapeDeclinesAndDoesNotHide()
{
    ConfirmScene scene;
    scene.ask();
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
    QCOMPARE(scene.hides(), 0);
    scene.key(Qt::Key_Escape);
    QCOMPARE(scene.hides(), 1);
}

void tst_ConfirmCard::aHeldEscapeDeclinesOnce()
{
    ConfirmScene scene;
    scene.ask();
    scene.press(Qt::Key_Escape, {}, false);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
    scene.press(Qt::Key_Escape, {}, true);
    QCOMPARE(scene.hides(), 0);
}

void tst_ConfirmCard::waitsBeforeItTakesApproval()
{
    const ConfirmScene scene;
    QCOMPARE(scene.card->property("wait"), 400);
}

void tst_ConfirmCard::aReturnThatWasOnItsWayApprovesNothing_data()
{
    QTest::addColumn<QString>("focus");
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Return") << QString() << Qt::Key_Return;
    QTest::newRow("Enter") << QString() << Qt::Key_Enter;
    QTest::newRow("Return on Allow") << u"allowButton"_s << Qt::Key_Return;
    QTest::newRow("Space on Allow") << u"allowButton"_s << Qt::Key_Space;
}

void tst_ConfirmCard::aReturnThatWasOnItsWayApprovesNothing()
{
    QFETCH(const QString, focus);
    QFETCH(const Qt::Key, key);
    ConfirmScene scene;
    scene.ask(forEver);
    if (!focus.isEmpty())
        scene.item(focus).forceActiveFocus(Qt::TabFocusReason);
    scene.key(key);
    QVERIFY(scene.sessionView->isPending());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::aHeldReturnApprovesNothing()
{
    ConfirmScene scene;
    scene.ask();
    scene.press(Qt::Key_Return, u"\r"_s, true);
    QVERIFY(scene.sessionView->isPending());
    scene.item(u"allowButton"_s).forceActiveFocus(Qt::TabFocusReason);
    scene.press(Qt::Key_Return, u"\r"_s, true);
    QVERIFY(scene.sessionView->isPending());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::typingOnRestartsTheWait()
{
    ConfirmScene scene;
    scene.ask();
    scene.card->setProperty("wait", forEver);
    scene.type(u"and"_s);
    QVERIFY(!scene.isReady());
    scene.key(Qt::Key_Return);
    QVERIFY(scene.sessionView->isPending());
    QCOMPARE(scene.typed(), QString());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::cancellingNeedsNoWait()
{
    ConfirmScene scene;
    scene.ask(forEver);
    scene.click(u"cancelButton"_s);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::returnOnCancelDeclines()
{
    ConfirmScene scene;
    scene.ask();
    scene.key(Qt::Key_Tab);
    QVERIFY(scene.hasFocus(u"cancelButton"_s));
    scene.key(Qt::Key_Return);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::holdsTheKeyboard()
{
    ConfirmScene scene;
    scene.ask();
    QStringList names;
    for (int i = 0; i < 4; ++i) {
        scene.key(Qt::Key_Tab);
        names << scene.window->activeFocusItem()->objectName();
    }
    QCOMPARE(names, QStringList({u"cancelButton"_s, u"allowButton"_s, u"cancelButton"_s,
                                 u"allowButton"_s}));
    scene.key(Qt::Key_Backtab, Qt::ShiftModifier);
    QVERIFY(scene.hasFocus(u"cancelButton"_s));
    // Clicking the field or a text of the history has no effect.
    for (const QString &name : {u"commandField"_s, u"turnCommand"_s}) {
        scene.click(name);
        QVERIFY(scene.card->hasActiveFocus());
    }
    scene.type(u"text"_s);
    QCOMPARE(scene.typed(), QString());
    scene.key(Qt::Key_PageUp);
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::keepsTheKeyboardWhenSummoned()
{
    ConfirmScene scene;
    scene.ask();
    PanelScene::summon();
    QVERIFY(scene.card->hasActiveFocus());
    scene.key(Qt::Key_Return);
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::givesTheKeyboardBack()
{
    ConfirmScene scene;
    scene.ask();
    scene.key(Qt::Key_Return);
    QVERIFY(scene.hasFocus(u"commandField"_s));
    scene.waitUntilIdle();
    scene.type(u"next"_s);
    QCOMPARE(scene.typed(), u"next"_s);
}

void tst_ConfirmCard::theNextCardWaitsAnew()
{
    ConfirmScene scene;
    scene.ask();
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
    QVERIFY(!scene.isReady());
    scene.ask(forEver);
    scene.key(Qt::Key_Return);
    QVERIFY(scene.sessionView->isPending());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::stopRefuses()
{
    ConfirmScene scene;
    scene.ask();
    scene.click(u"stopButton"_s);
    QVERIFY(!scene.sessionView->isPending());
    QVERIFY(scene.session->task()->isCancelled());
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_ConfirmCard::coversWhatIsBehind()
{
    ConfirmScene scene;
    QList<Turn> turns;
    for (int i = 0; i < 30; ++i)
        turns << Turn{.command = u"Task %1"_s.arg(i)};
    scene.setLook({.hasReducedMotion = true});
    scene.session->setTurns(turns);
    scene.ask();
    const QQuickItem &list = scene.item(u"turns"_s);
    const QVariant before = list.property("contentY");
    const QPointF corner = scene.card->mapToScene({10, 10});
    QWheelEvent wheel(corner, corner, {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(scene.window.get(), &wheel);
    QCOMPARE(list.property("contentY"), before);
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::dimsWhatIsBehind_data()
{
    QTest::addColumn<bool>("isDark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void tst_ConfirmCard::dimsWhatIsBehind()
{
    QFETCH(const bool, isDark);
    ConfirmScene scene;
    scene.setLook({.isDark = isDark});
    const QPoint beside = scene.card->mapToScene({10, 10}).toPoint();
    const double clear = scene.grab().pixelColor(beside).lightnessF();
    scene.ask();
    QTRY_VERIFY(scene.grab().pixelColor(beside).lightnessF() < 0.85 * clear);
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

PANEL_TEST_MAIN(tst_ConfirmCard)

#include "tst_ConfirmCard.moc"
