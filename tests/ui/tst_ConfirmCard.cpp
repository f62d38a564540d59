#include "tests/trust/HostileTexts.h"
#include "tests/ui/PanelTest.h"

#include <QAccessible>

#include <functional>

using namespace Qt::StringLiterals;

namespace {
constexpr int forEver = 1'000'000;

/// A panel with a risky step that waits for approval.
struct Scene : PanelScene
{
    explicit Scene()
    {
        QFile old(home.filePath(u"home/old.zip"_s));
        if (!old.open(QIODevice::WriteOnly))
            qFatal("The file to be moved cannot be made.");
        card = itemAnywhere(u"confirmCard"_s);
        if (card == nullptr)
            qFatal("There is no confirm card.");
    }

    /// Runs a task until the question. The card accepts approval after so many milliseconds.
    void ask(int wait = 0)
    {
        card->setProperty("wait", wait);
        engine->addReplies({Say::trashOld});
        submit(u"Tidy up"_s);
        QVERIFY(QTest::qWaitFor([this] { return sessionView->isPending(); }, 30'000));
        if (wait == 0)
            QVERIFY(QTest::qWaitFor([this] { return isReady(); }, 30'000));
    }
    [[nodiscard]] bool isReady() const { return card->property("isReady").toBool(); }
    void press(Qt::Key key, const QString &text, bool isRepeated) const
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, text, isRepeated);
        QCoreApplication::sendEvent(window.get(), &event);
    }
    /// Runs a task until the question about that path or script.
    void askAbout(const QString &action, const QString &key, const QString &value, int wait = 0)
    {
        card->setProperty("wait", wait);
        engine->addReplies({replyOf(action, key, value)});
        submit(u"Tidy up"_s);
        QVERIFY(QTest::qWaitFor([this] { return sessionView->isPending(); }, 30'000));
    }
    /// The rendered reason.
    [[nodiscard]] QImage drawnReason() const
    {
        const QQuickItem &view = item(u"confirmReasonView"_s);
        return grab().copy(view.mapRectToScene(view.boundingRect()).toAlignedRect());
    }
    /// The rendered question about trashing that path.
    QImage drawn(const QString &path)
    {
        session->setTurns({});
        askAbout(u"trash"_s, u"path"_s, path);
        const QImage image = drawnReason();
        key(Qt::Key_Escape);
        waitUntilIdle();
        return image;
    }
    void decline()
    {
        key(Qt::Key_Escape);
        waitUntilIdle();
        QVERIFY(wasDeclined());
    }
    void waitUntilIdle() const { QTRY_VERIFY(!session->isRunning()); }
    [[nodiscard]] bool wasAllowed() const { return platform.fakeWorkspace.trashed.size() == 1; }
    [[nodiscard]] bool wasDeclined() const
    {
        return platform.fakeWorkspace.trashed.isEmpty() &&
               session->turns().last().summary == u"I didn't do that, as requested."_s;
    }

    QQuickItem *card = nullptr;
};
} // namespace

class tst_ConfirmCard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatAndWhy();
    void theReasonIsLargerThanTheHeading();
    void liesOverTheCentre();
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
    void showsHostileReasonsAsText();
    void aLongReasonScrolls();
    void whatIsDrawnIsWhatIsThere_data();
    void whatIsDrawnIsWhatIsThere();
    void nothingIsDrawnTheSameAsSomethingElse_data();
    void nothingIsDrawnTheSameAsSomethingElse();
    void lineEndsDoNotHideTheEnd();
    void aScriptKeepsItsLines();
    void approvalNeedsTheEndOfTheReason_data();
    void approvalNeedsTheEndOfTheReason();
    void theWaitBeginsAtTheEndOfTheReason();
    void aHiddenPanelShowsNoEnd();
    void theSmallestPanelShowsTheEnd();
    void coversWhatIsBehind();
};

void tst_ConfirmCard::saysWhatAndWhy()
{
    Scene scene;
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

void tst_ConfirmCard::liesOverTheCentre()
{
    Scene scene;
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
    Scene scene;
    scene.ask();
    scene.click(u"allowButton"_s);
    QVERIFY(!scene.sessionView->isPending());
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::declinesByMouse()
{
    Scene scene;
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
    Scene scene;
    scene.ask();
    scene.key(key);
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::escapeDeclinesAndDoesNotHide()
{
    Scene scene;
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
    Scene scene;
    scene.ask();
    scene.press(Qt::Key_Escape, {}, false);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
    scene.press(Qt::Key_Escape, {}, true);
    QCOMPARE(scene.hides(), 0);
}

void tst_ConfirmCard::waitsBeforeItTakesApproval()
{
    const Scene scene;
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
    Scene scene;
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
    Scene scene;
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
    Scene scene;
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
    Scene scene;
    scene.ask(forEver);
    scene.click(u"cancelButton"_s);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::returnOnCancelDeclines()
{
    Scene scene;
    scene.ask();
    scene.key(Qt::Key_Tab);
    QVERIFY(scene.hasFocus(u"cancelButton"_s));
    scene.key(Qt::Key_Return);
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
}

void tst_ConfirmCard::holdsTheKeyboard()
{
    Scene scene;
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
    Scene scene;
    scene.ask();
    PanelScene::summon();
    QVERIFY(scene.card->hasActiveFocus());
    scene.key(Qt::Key_Return);
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::givesTheKeyboardBack()
{
    Scene scene;
    scene.ask();
    scene.key(Qt::Key_Return);
    QVERIFY(scene.hasFocus(u"commandField"_s));
    scene.waitUntilIdle();
    scene.type(u"next"_s);
    QCOMPARE(scene.typed(), u"next"_s);
}

void tst_ConfirmCard::theNextCardWaitsAnew()
{
    Scene scene;
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
    Scene scene;
    scene.ask();
    scene.click(u"stopButton"_s);
    QVERIFY(!scene.sessionView->isPending());
    QVERIFY(scene.session->task()->isCancelled());
    scene.waitUntilIdle();
    QVERIFY(scene.wasDeclined());
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_ConfirmCard::showsHostileReasonsAsText()
{
    Scene scene;
    scene.card->setProperty("wait", 0);
    const QString path = u"<b>x</b><img src='file:///dev/zero'>"_s;
    scene.engine->addReplies({uR"({"action":"trash","path":"%1"})"_s.arg(path)});
    scene.submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    const QQuickItem &reason = scene.item(u"confirmReason"_s);
    QVERIFY(reason.property("text").toString().contains(path));
    for (const QQuickItem *const text : scene.allTexts())
        QCOMPARE(text->property("textFormat").toInt(), int(Qt::PlainText));
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::aLongReasonScrolls()
{
    Scene scene;
    scene.window->resize(640, 460);
    scene.card->setProperty("wait", 0);
    scene.engine->addReplies(
        {uR"({"action":"trash","path":"%1"})"_s.arg(u"long-name-"_s.repeated(300))});
    scene.submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    const QQuickItem &view = scene.item(u"confirmReasonView"_s);
    const QQuickItem &reason = scene.item(u"confirmReason"_s);
    QTRY_VERIFY(reason.height() > view.height());
    // The scroll bar shows that there is more.
    QTRY_VERIFY(scene.find(u"confirmScrollBar"_s));
    const auto *const handle =
        scene.item(u"confirmScrollBar"_s).property("contentItem").value<QQuickItem *>();
    QTRY_VERIFY(handle->isVisible() && handle->opacity() > 0.5);
    const QQuickItem &face = scene.item(u"confirmFace"_s);
    QTRY_VERIFY(face.height() < scene.card->height());
    QCOMPARE(view.property("contentY"), 0);
    scene.key(Qt::Key_Down);
    const double line = view.property("contentY").toDouble();
    QVERIFY(line > 0);
    scene.key(Qt::Key_PageDown);
    QVERIFY(view.property("contentY").toDouble() > line);
    for (int i = 0; i < 100; ++i)
        scene.key(Qt::Key_PageDown);
    QCOMPARE(view.property("contentY").toDouble(), reason.height() - view.height());
    scene.key(Qt::Key_PageUp);
    scene.key(Qt::Key_Up);
    QVERIFY(view.property("contentY").toDouble() < reason.height() - view.height());
    scene.key(Qt::Key_Escape);
    scene.waitUntilIdle();
}

void tst_ConfirmCard::whatIsDrawnIsWhatIsThere_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("drawn");
    QTest::newRow("an overridden direction")
        << u"invoice\u202egpj.exe"_s << u"invoice\ufffdgpj.exe"_s;
    QTest::newRow("isolates") << u"a\u2067b c\u2069d"_s << u"a\ufffdb c\ufffdd"_s;
    QTest::newRow("nothing between letters") << u"Docu\u200bments"_s << u"Docu\ufffdments"_s;
    QTest::newRow("a carriage return") << u"a\rDocuments"_s << u"a⏎Documents"_s;
    QTest::newRow("a separator of paragraphs") << u"a\u2029Documents"_s << u"a⏎Documents"_s;
    QTest::newRow("a tab") << u"a\tb"_s << u"a⇥b"_s;
    QTest::newRow("many blanks") << u"a"_s + QString(900, u' ') + u"b"_s << u"a␣×900b"_s;
    QTest::newRow("many marks") << u"Z"_s + u"\u0336"_s.repeated(9)
                                << u"Z\u0336\u0336\u0336\u0336\ufffd\ufffd\ufffd\ufffd\ufffd"_s;
}

void tst_ConfirmCard::whatIsDrawnIsWhatIsThere()
{
    QFETCH(const QString, path);
    QFETCH(const QString, drawn);
    Scene scene;
    const QImage expected = scene.drawn(drawn);
    QVERIFY(!expected.isNull());
    QCOMPARE(scene.drawn(path), expected);
    QVERIFY(scene.drawn(u"something else"_s) != expected);
}

void tst_ConfirmCard::nothingIsDrawnTheSameAsSomethingElse_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("other");
    const QString plain = u"Documents/old.zip"_s;
    for (const char16_t unseen : {u'\u200b', u'\u200c', u'\u200d', u'\u200e', u'\u200f', u'\u202a',
                                  u'\u202c', u'\u2060', u'\u2063', u'\ufeff', u'\u00ad', u'\u034f',
                                  u'\u115f', u'\u3164', u'\ufe0f', u'\u180e', u'\u061c'}) {
        QTest::addRow("U+%04X within a name", unseen)
            << u"Docu"_s + QChar(unseen) + u"ments/old.zip"_s << plain;
    }
    QTest::newRow("a tag within a name") << u"Docu\U000e0064ments/old.zip"_s << plain;
    QTest::newRow("letters in another order")
        << u"Documents/\u202epiz.dlo\u202c"_s << u"Documents/old.zip"_s;
    QTest::newRow("another file behind an empty screen")
        << u"Documents/old.zip"_s + QString(60, u'\n') + u"/../.."_s << plain;
    QTest::newRow("another number of line ends")
        << u"a"_s + QString(60, u'\n') + u"b"_s << u"a"_s + QString(61, u'\n') + u"b"_s;
    QTest::newRow("another number of blanks")
        << u"a"_s + QString(60, u' ') + u"b"_s << u"a"_s + QString(61, u' ') + u"b"_s;
    QTest::newRow("a line end and a blank") << u"a\nb"_s << u"a b"_s;
}

void tst_ConfirmCard::nothingIsDrawnTheSameAsSomethingElse()
{
    QFETCH(const QString, path);
    QFETCH(const QString, other);
    Scene scene;
    const QImage expected = scene.drawn(other);
    QCOMPARE(scene.drawn(other), expected);
    QVERIFY(scene.drawn(path) != expected);
}

void tst_ConfirmCard::lineEndsDoNotHideTheEnd()
{
    Scene scene;
    scene.askAbout(u"trash"_s, u"path"_s,
                   u"Downloads/old.zip"_s + QString(60, u'\n') + u"/../../Documents"_s);
    QCOMPARE(scene.text(u"confirmReason"_s),
             u"Move “Downloads/old.zip⏎×60/../../Documents” to the Trash"_s);
    QTRY_VERIFY(scene.isReady());
    QVERIFY(scene.item(u"confirmReason"_s).height() <= scene.item(u"confirmReasonView"_s).height());
    scene.decline();
}

void tst_ConfirmCard::aScriptKeepsItsLines()
{
    Scene scene;
    scene.askAbout(u"applescript"_s, u"script"_s, u"tell application \"Mail\"\n    beep\nend"_s);
    QCOMPARE(scene.text(u"confirmReason"_s),
             u"Run a custom AppleScript:\ntell application \"Mail\"\n    beep\nend"_s);
    scene.decline();
}

void tst_ConfirmCard::approvalNeedsTheEndOfTheReason_data()
{
    QTest::addColumn<std::function<void(Scene &)>>("approve");
    using Approve = std::function<void(Scene &)>;
    QTest::newRow("Return") << Approve([](Scene &scene) { scene.key(Qt::Key_Return); });
    QTest::newRow("Enter") << Approve([](Scene &scene) { scene.key(Qt::Key_Enter); });
    QTest::newRow("the mouse") << Approve([](Scene &scene) { scene.click(u"allowButton"_s); });
    QTest::newRow("a screen reader") << Approve([](Scene &scene) {
        auto *const button = QAccessible::queryAccessibleInterface(&scene.item(u"allowButton"_s));
        button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    });
}

void tst_ConfirmCard::approvalNeedsTheEndOfTheReason()
{
    QFETCH(const std::function<void(Scene &)>, approve);
    Scene scene;
    scene.askAbout(u"trash"_s, u"path"_s, u"d/"_s.repeated(3000) + u"../old.zip"_s);
    const QQuickItem &view = scene.item(u"confirmReasonView"_s);
    QTRY_VERIFY(scene.item(u"confirmReason"_s).height() > view.height());
    QTRY_COMPARE(scene.item(u"confirmHint"_s).opacity(), 1.0);
    QCOMPARE(scene.text(u"confirmHint"_s), u"Scroll to the end to allow this."_s);
    QVERIFY(!scene.item(u"allowButton"_s).isEnabled());
    // Frames that do not show the end change nothing, however many there are.
    for (int i = 0; i < 5; ++i) {
        QVERIFY(!scene.grab().isNull());
        approve(scene);
    }
    scene.key(Qt::Key_PageDown);
    QVERIFY(!scene.grab().isNull());
    approve(scene);
    QVERIFY(scene.sessionView->isPending());
    QVERIFY(!scene.isReady());

    scene.key(Qt::Key_End);
    QTRY_VERIFY(scene.isReady());
    QVERIFY(scene.item(u"allowButton"_s).isEnabled());
    QCOMPARE(scene.itemAnywhere(u"confirmHint"_s)->opacity(), 0.0);
    // Having seen the end once is enough.
    scene.key(Qt::Key_Home);
    QCOMPARE(view.property("contentY"), 0);
    approve(scene);
    scene.waitUntilIdle();
    QVERIFY(scene.wasAllowed());
}

void tst_ConfirmCard::theWaitBeginsAtTheEndOfTheReason()
{
    Scene scene;
    scene.askAbout(u"trash"_s, u"path"_s, u"long-name-"_s.repeated(300), forEver);
    scene.key(Qt::Key_End);
    QTRY_VERIFY(scene.card->property("endWasSeen").toBool());
    scene.key(Qt::Key_Return);
    QVERIFY(scene.sessionView->isPending());
    scene.decline();
}

void tst_ConfirmCard::aHiddenPanelShowsNoEnd()
{
    Scene scene;
    scene.window->hide();
    scene.card->setProperty("wait", 0);
    scene.engine->addReplies({Say::trashOld});
    scene.session->submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    QTest::qWait(100);
    QVERIFY(!scene.isReady());
    scene.window->show();
    QVERIFY(QTest::qWaitForWindowExposed(scene.window.get()));
    QTRY_VERIFY(scene.isReady());
    // Showing the window again starts the delay again.
    scene.window->hide();
    QVERIFY(!scene.isReady());
    scene.window->show();
    QTRY_VERIFY(scene.isReady());
    scene.decline();
}

void tst_ConfirmCard::theSmallestPanelShowsTheEnd()
{
    Scene scene;
    scene.window->resize(640, 460);
    scene.askAbout(u"trash"_s, u"path"_s, u"long-name-"_s.repeated(300));
    const QQuickItem &view = scene.item(u"confirmReasonView"_s);
    QTRY_VERIFY(scene.item(u"confirmReason"_s).height() > view.height());
    QVERIFY(view.height() > 60);
    const QQuickItem &face = scene.item(u"confirmFace"_s);
    QVERIFY(scene.card->mapRectToScene(scene.card->boundingRect())
                .contains(face.mapRectToScene(face.boundingRect())));
    scene.key(Qt::Key_End);
    QTRY_VERIFY(scene.isReady());
    scene.decline();
}

void tst_ConfirmCard::coversWhatIsBehind()
{
    Scene scene;
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

void tst_ConfirmCard::theReasonIsLargerThanTheHeading()
{
    PanelScene scene;
    scene.engine->addReplies({Say::trashOld});
    scene.submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.sessionView->isPending());
    const auto size = [&](const QString &name) {
        return scene.item(name).property("font").value<QFont>().pixelSize();
    };
    QCOMPARE(size(u"confirmReason"_s), 15);
    QCOMPARE(size(u"confirmHeading"_s), 13);
    scene.sessionView->stop();
    QTRY_VERIFY(!scene.session->isRunning());
}

PANEL_TEST_MAIN(tst_ConfirmCard)

#include "tst_ConfirmCard.moc"
