// How the card shows its reason, and that approval needs all of it to have been shown.

#include "tests/support/Waiting.h"
#include "tests/trust/HostileTexts.h"
#include "tests/ui/ConfirmScene.h"

#include <QAccessible>

#include <functional>

using namespace Qt::StringLiterals;

class tst_ConfirmCardReason : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
    void theReasonIsLargerThanTheHeading();
};

void tst_ConfirmCardReason::showsHostileReasonsAsText()
{
    ConfirmScene scene;
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

void tst_ConfirmCardReason::aLongReasonScrolls()
{
    ConfirmScene scene;
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

void tst_ConfirmCardReason::whatIsDrawnIsWhatIsThere_data()
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

void tst_ConfirmCardReason::whatIsDrawnIsWhatIsThere()
{
    QFETCH(const QString, path);
    QFETCH(const QString, drawn);
    ConfirmScene scene;
    const QImage expected = scene.drawn(drawn);
    QVERIFY(!expected.isNull());
    QCOMPARE(scene.drawn(path), expected);
    QVERIFY(scene.drawn(u"something else"_s) != expected);
}

void tst_ConfirmCardReason::nothingIsDrawnTheSameAsSomethingElse_data()
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

void tst_ConfirmCardReason::nothingIsDrawnTheSameAsSomethingElse()
{
    QFETCH(const QString, path);
    QFETCH(const QString, other);
    ConfirmScene scene;
    const QImage expected = scene.drawn(other);
    QCOMPARE(scene.drawn(other), expected);
    QVERIFY(scene.drawn(path) != expected);
}

void tst_ConfirmCardReason::lineEndsDoNotHideTheEnd()
{
    ConfirmScene scene;
    scene.askAbout(u"trash"_s, u"path"_s,
                   u"Downloads/old.zip"_s + QString(60, u'\n') + u"/../../Documents"_s);
    QCOMPARE(scene.text(u"confirmReason"_s),
             u"Move “Downloads/old.zip⏎×60/../../Documents” to the Trash"_s);
    QTRY_VERIFY(scene.isReady());
    QVERIFY(scene.item(u"confirmReason"_s).height() <= scene.item(u"confirmReasonView"_s).height());
    scene.decline();
}

void tst_ConfirmCardReason::aScriptKeepsItsLines()
{
    ConfirmScene scene;
    scene.askAbout(u"applescript"_s, u"script"_s, u"tell application \"Mail\"\n    beep\nend"_s);
    QCOMPARE(scene.text(u"confirmReason"_s),
             u"Run a custom AppleScript:\ntell application \"Mail\"\n    beep\nend"_s);
    scene.decline();
}

void tst_ConfirmCardReason::approvalNeedsTheEndOfTheReason_data()
{
    QTest::addColumn<std::function<void(ConfirmScene &)>>("approve");
    using Approve = std::function<void(ConfirmScene &)>;
    QTest::newRow("Return") << Approve([](ConfirmScene &scene) { scene.key(Qt::Key_Return); });
    QTest::newRow("Enter") << Approve([](ConfirmScene &scene) { scene.key(Qt::Key_Enter); });
    QTest::newRow("the mouse") << Approve(
        [](ConfirmScene &scene) { scene.click(u"allowButton"_s); });
    QTest::newRow("a screen reader") << Approve([](ConfirmScene &scene) {
        auto *const button = QAccessible::queryAccessibleInterface(&scene.item(u"allowButton"_s));
        button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    });
}

void tst_ConfirmCardReason::approvalNeedsTheEndOfTheReason()
{
    QFETCH(const std::function<void(ConfirmScene &)>, approve);
    ConfirmScene scene;
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

void tst_ConfirmCardReason::theWaitBeginsAtTheEndOfTheReason()
{
    ConfirmScene scene;
    scene.askAbout(u"trash"_s, u"path"_s, u"long-name-"_s.repeated(300), forEver);
    scene.key(Qt::Key_End);
    QTRY_VERIFY(scene.card->property("endWasSeen").toBool());
    scene.key(Qt::Key_Return);
    QVERIFY(scene.sessionView->isPending());
    scene.decline();
}

void tst_ConfirmCardReason::aHiddenPanelShowsNoEnd()
{
    ConfirmScene scene;
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

void tst_ConfirmCardReason::theSmallestPanelShowsTheEnd()
{
    ConfirmScene scene;
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

void tst_ConfirmCardReason::theReasonIsLargerThanTheHeading()
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

PANEL_TEST_MAIN(tst_ConfirmCardReason)

#include "tst_ConfirmCardReason.moc"
