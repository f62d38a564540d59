#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>

#include <QClipboard>

using namespace Qt::StringLiterals;

class tst_CommandBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsPlace();
    void invites();
    void hasTheFocusFromTheBeginning();
    void takesTheFocusWhenSummoned();
    void returnSends();
    void aLongTextIsTakenWhole();
    void pastedLinesAreSetApart_data();
    void pastedLinesAreSetApart();
    void aLongTextFadesAtTheEdges();
    void theSendButtonSends();
    void returnWithoutAModelKeepsTheText_data();
    void returnWithoutAModelKeepsTheText();
    void showsOneOfTwoButtons();
    void stopsByItsButton();
    void arrowsRecallTasks();
    void escapeHidesThePanel();
    void everythingIsReachedByTab();
    void aHeldReturnPressesOnce();
    void aDroppedFileBecomesItsPath();
    void whatIsNoFileIsNotDropped();
};

void tst_CommandBar::hasItsPlace()
{
    const PanelScene scene;
    const QQuickItem &field = scene.item(u"commandField"_s);
    const QQuickItem &send = scene.item(u"sendButton"_s);
    const QQuickItem &divider = scene.item(u"divider"_s);
    const QQuickItem &sparkle = scene.item(u"sparkle"_s);
    const auto middle = [](const QQuickItem &item) {
        return item.mapRectToScene(item.boundingRect()).center().y();
    };
    QCOMPARE(sparkle.mapToScene({}).x(), 22);
    QCOMPARE(field.mapToScene({}).x(), 22 + sparkle.width() + 14);
    QCOMPARE(send.mapToScene({}).x(), 22 + sparkle.width() + 14 + field.width() + 14);
    QCOMPARE(send.mapToScene({}).x() + send.width(), 720 - 22);
    const qreal height = std::max({sparkle.height(), field.height(), send.height()});
    QCOMPARE(middle(field), 34 + height / 2);
    QCOMPARE(middle(sparkle), middle(field));
    QCOMPARE(middle(send), middle(field));
    QCOMPARE(divider.mapToScene({}).y(), 34 + height + 18);
    QCOMPARE(divider.opacity(), 0.4);
    QCOMPARE(divider.width(), 720);
    QCOMPARE(sparkle.property("name"), u"sparkle"_s);
    QCOMPARE(send.property("symbol"), u"arrow.up.circle.fill"_s);
}

void tst_CommandBar::invites()
{
    const PanelScene scene;
    QCOMPARE(scene.item(u"commandField"_s).property("placeholderText"),
             u"Tell your Mac what to do…"_s);
    QCOMPARE(scene.text(u"placeholder"_s), u"Tell your Mac what to do…"_s);
    scene.type(u"a"_s);
    QVERIFY(!scene.find(u"placeholder"_s));
}

void tst_CommandBar::hasTheFocusFromTheBeginning()
{
    const PanelScene scene;
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_CommandBar::takesTheFocusWhenSummoned()
{
    const PanelScene scene;
    scene.key(Qt::Key_Tab);
    QVERIFY(!scene.hasFocus(u"commandField"_s));
    PanelScene::summon();
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_CommandBar::returnSends()
{
    PanelScene scene;
    scene.engine->addReplies({Say::done()});
    scene.submit(u"Open Mail"_s);
    QCOMPARE(scene.typed(), QString());
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().size(), 1);
    QCOMPARE(scene.session->turns().first().command, u"Open Mail"_s);
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_CommandBar::aLongTextIsTakenWhole()
{
    PanelScene scene;
    scene.engine->addReplies({Say::done()});
    const QString text = u"Open Mail, please. "_s.repeated(5'000) + u"And then Safari."_s;
    QGuiApplication::clipboard()->setText(text);
    scene.key(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(scene.typed(), text);
    scene.key(Qt::Key_Return);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().first().command, text);
}

void tst_CommandBar::pastedLinesAreSetApart_data()
{
    QTest::addColumn<QString>("copied");
    QTest::addColumn<QString>("pasted");

    QTest::newRow("one line") << u"find it"_s << u"find it"_s;
    QTest::newRow("two lines") << u"find it\nand open it"_s << u"find it and open it"_s;
    QTest::newRow("as Windows ends them")
        << u"find it\r\nand open it"_s << u"find it and open it"_s;
    QTest::newRow("an empty line between") << u"find it \n\n  open it"_s << u"find it open it"_s;
    QTest::newRow("a whole line") << u"find it\n"_s << u"find it"_s;
    QTest::newRow("paragraphs") << u"find it\u2029open it"_s << u"find it open it"_s;
    QTest::newRow("nothing") << QString() << QString();
}

void tst_CommandBar::pastedLinesAreSetApart()
{
    QFETCH(const QString, copied);
    QFETCH(const QString, pasted);
    const PanelScene scene;
    QGuiApplication::clipboard()->setText(copied);
    scene.type(u"now  then"_s);
    for (int i = 0; i < 5; ++i)
        scene.key(Qt::Key_Left);
    scene.key(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(scene.typed(), u"now "_s + pasted + u" then"_s);
    // It replaces the selection and is submitted.
    scene.key(Qt::Key_A, Qt::ControlModifier);
    scene.key(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(scene.typed(), pasted);
}

void tst_CommandBar::aLongTextFadesAtTheEdges()
{
    const PanelScene scene;
    const auto fades = [&](const QString &name) { return scene.find(name) != nullptr; };
    scene.type(u"open"_s);
    QVERIFY(!fades(u"fadeLeft"_s) && !fades(u"fadeRight"_s));
    scene.type(QString(200, u'x'));
    QVERIFY(fades(u"fadeLeft"_s) && !fades(u"fadeRight"_s));
    scene.key(Qt::Key_Home);
    QVERIFY(!fades(u"fadeLeft"_s) && fades(u"fadeRight"_s));
    for (int i = 0; i < 150; ++i)
        scene.key(Qt::Key_Right);
    QVERIFY(fades(u"fadeLeft"_s) && fades(u"fadeRight"_s));
    scene.key(Qt::Key_A, Qt::ControlModifier);
    scene.key(Qt::Key_Delete);
    QVERIFY(!fades(u"fadeLeft"_s) && !fades(u"fadeRight"_s));
}

void tst_CommandBar::theSendButtonSends()
{
    PanelScene scene;
    scene.click(u"sendButton"_s);
    QVERIFY(scene.session->turns().isEmpty());
    scene.engine->addReplies({Say::done()});
    scene.type(u"Open Mail"_s);
    scene.click(u"sendButton"_s);
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().size(), 1);
    QCOMPARE(scene.typed(), QString());
}

void tst_CommandBar::returnWithoutAModelKeepsTheText_data()
{
    QTest::addColumn<bool>("isPresent");
    QTest::newRow("needs a download") << false;
    QTest::newRow("loading") << true;
}

void tst_CommandBar::returnWithoutAModelKeepsTheText()
{
    QFETCH(const bool, isPresent);
    PanelScene scene(isPresent ? PanelScene::Model::loading : PanelScene::Model::missing);
    scene.submit(u"Open Mail"_s);
    QCOMPARE(scene.typed(), u"Open Mail"_s);
    scene.click(u"sendButton"_s);
    QCOMPARE(scene.typed(), u"Open Mail"_s);
    QVERIFY(scene.session->turns().isEmpty());
    QVERIFY(!scene.session->isRunning());
    scene.engine->releaseLoad();
}

void tst_CommandBar::showsOneOfTwoButtons()
{
    const PanelScene scene;
    QVERIFY(scene.find(u"sendButton"_s));
    QVERIFY(!scene.find(u"stopButton"_s));
    scene.engine->addReplies({Say::done()});
    scene.engine->holdGenerations();
    scene.submit(u"Open Mail"_s);
    QVERIFY(!scene.find(u"sendButton"_s));
    QCOMPARE(scene.item(u"stopButton"_s).property("symbol"), u"stop.circle.fill"_s);
    QCOMPARE(scene.item(u"stopButton"_s).property("help"), u"Stop"_s);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(scene.find(u"sendButton"_s));
}

void tst_CommandBar::stopsByItsButton()
{
    PanelScene scene;
    scene.engine->addReplies({Say::listWindows});
    scene.engine->holdGenerations();
    scene.submit(u"Anything"_s);
    QTRY_VERIFY(scene.engine->isGenerating());
    scene.click(u"stopButton"_s);
    QVERIFY(scene.session->task()->isCancelled());
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().last().log.last().text, u"Cancelled"_s);
    QVERIFY(scene.hasFocus(u"commandField"_s));
}

void tst_CommandBar::arrowsRecallTasks()
{
    PanelScene scene;
    scene.engine->addReplies({Say::done(), Say::done()});
    for (const QString &task : {u"Open Mail"_s, u"Open Music"_s}) {
        scene.submit(task);
        QTRY_VERIFY(!scene.session->isRunning());
    }
    scene.type(u"draft"_s);
    scene.key(Qt::Key_Up);
    QCOMPARE(scene.typed(), u"Open Music"_s);
    scene.key(Qt::Key_Up);
    QCOMPARE(scene.typed(), u"Open Mail"_s);
    QCOMPARE(scene.item(u"commandField"_s).property("cursorPosition"), 9);
    scene.key(Qt::Key_Down);
    scene.key(Qt::Key_Down);
    QCOMPARE(scene.typed(), u"draft"_s);
}

void tst_CommandBar::escapeHidesThePanel()
{
    const PanelScene scene;
    scene.type(u"draft"_s);
    scene.key(Qt::Key_Escape);
    QCOMPARE(scene.hides(), 1);
    QCOMPARE(scene.typed(), u"draft"_s);
    scene.key(Qt::Key_Tab);
    scene.key(Qt::Key_Escape);
    QCOMPARE(scene.hides(), 2);
}

void tst_CommandBar::everythingIsReachedByTab()
{
    PanelScene scene;
    scene.setTrusted(false);
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    scene.type(u"a"_s);
    const auto round = [&scene](Qt::Key key, Qt::KeyboardModifiers modifiers) {
        QStringList names;
        do {
            names << scene.window->activeFocusItem()->objectName();
            scene.key(key, modifiers);
        } while (!scene.hasFocus(u"commandField"_s) && names.size() < 20);
        return names;
    };
    const QStringList all{u"commandField"_s, u"sendButton"_s,      u"turn"_s,
                          u"grantButton"_s,  u"modelMenuButton"_s, u"minimiseButton"_s,
                          u"closeButton"_s};
    QCOMPARE(round(Qt::Key_Tab, Qt::NoModifier), all);
    QStringList backwards = all.mid(1);
    std::ranges::reverse(backwards);
    QCOMPARE(round(Qt::Key_Backtab, Qt::ShiftModifier), QStringList(all.first()) + backwards);
}

void tst_CommandBar::aHeldReturnPressesOnce()
{
    PanelScene scene;
    scene.setTrusted(false);
    scene.item(u"grantButton"_s).forceActiveFocus(Qt::TabFocusReason);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_s, true);
    QCoreApplication::sendEvent(scene.window.get(), &held);
    QCOMPARE(scene.platform.fakeAccessibility.trustRequests, 0);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
        scene.key(key);
    QCOMPARE(scene.platform.fakeAccessibility.trustRequests, 3);
}

namespace {
void drop(const PanelScene &scene, const QList<QUrl> &urls)
{
    QMimeData data;
    data.setUrls(urls);
    const QQuickItem &field = scene.item(u"commandField"_s);
    const QPoint place = field.mapToScene(QPointF(20, 10)).toPoint();
    QDragEnterEvent enter(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(scene.window.get(), &enter);
    QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(scene.window.get(), &event);
}
} // namespace

void tst_CommandBar::aDroppedFileBecomesItsPath()
{
    const PanelScene scene;
    scene.type(u"Open"_s);
    drop(scene, {QUrl::fromLocalFile(u"/home/a/My Report.pdf"_s)});
    QCOMPARE(scene.typed(), u"Open /home/a/My Report.pdf"_s);
    QVERIFY(scene.hasFocus(u"commandField"_s));
    drop(scene,
         {QUrl(u"file:///b/"_s), QUrl(u"https://example.com/c"_s), QUrl(u"file:///d%0Ae"_s)});
    QCOMPARE(scene.typed(), u"Open /home/a/My Report.pdf /b /d e"_s);
}

void tst_CommandBar::whatIsNoFileIsNotDropped()
{
    const PanelScene scene;
    drop(scene, {QUrl(u"https://example.com/c"_s)});
    QCOMPARE(scene.typed(), QString());
}

PANEL_TEST_MAIN(tst_CommandBar)

#include "tst_CommandBar.moc"
