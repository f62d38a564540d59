#include "app/HotKey.h"
#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

using namespace Qt::StringLiterals;

class tst_KeyNotice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isNotThereForAKeyThatIsOurs();
    void saysThatTheKeyIsTakenUntilItIsDismissed();
    void bindsAnotherKeyAtAClick();
    void showsALongCommandInTheSmallestWindow_data();
    void showsALongCommandInTheSmallestWindow();
    void theHintHasTheKeysName();
};

void tst_KeyNotice::isNotThereForAKeyThatIsOurs()
{
    const PanelScene scene;
    HotKey::shared().registerKey();
    QVERIFY(!scene.find(u"keyNotice"_s));
}

void tst_KeyNotice::saysThatTheKeyIsTakenUntilItIsDismissed()
{
    PanelScene scene;
    scene.platform.fakeHotKey.isTaken = true;
    HotKey::shared().registerKey();
    QTRY_VERIFY(scene.find(u"keyNotice"_s));
    QCOMPARE(scene.text(u"keyNoticeText"_s), u"Option+Space belongs to another program."_s);
    QVERIFY(!scene.find(u"keyNoticeAction"_s));
    scene.click(u"keyNoticeClose"_s);
    QTRY_VERIFY(!scene.find(u"keyNotice"_s));
}

void tst_KeyNotice::bindsAnotherKeyAtAClick()
{
    PanelScene scene;
    scene.platform.fakeHotKey.isTaken = true;
    scene.platform.fakeHotKey.otherKey = u"Ctrl+Alt+Space"_s;
    HotKey::shared().registerKey();
    QTRY_VERIFY(scene.find(u"keyNoticeAction"_s));
    QCOMPARE(scene.text(u"keyNoticeAction"_s), u"Use Ctrl+Alt+Space"_s);
    scene.click(u"keyNoticeAction"_s);
    QVERIFY(scene.platform.fakeHotKey.isOtherBound);
    QCOMPARE(scene.text(u"keyNoticeText"_s),
             u"Ctrl+Alt+Space shows and hides Quillon from now on."_s);
    QVERIFY(!scene.find(u"keyNoticeAction"_s));
}

void tst_KeyNotice::showsALongCommandInTheSmallestWindow_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("installed") << u"quillon --toggle"_s << true;
    QTest::newRow("built") << u"/home/someone/Projects/quillon/build/release/app/quillon --toggle"_s
                           << true;
    QTest::newRow("longer than the notice")
        << u"/home/someone/a/very/long/path/quillon --toggle"_s.repeated(9) << false;
}

void tst_KeyNotice::showsALongCommandInTheSmallestWindow()
{
    QFETCH(const QString, command);
    QFETCH(const bool, isWhole);
    PanelScene scene;
    scene.window->resize(640, 460);
    scene.platform.fakeHotKey.isTaken = true;
    scene.platform.fakeHotKey.toggleCommand = command;
    HotKey::shared().registerKey();
    QTRY_VERIFY(scene.find(u"keyNoticeAction"_s));
    const auto place = [&](const QString &name) {
        const QQuickItem &item = scene.item(name);
        return item.mapRectToScene(item.boundingRect());
    };
    QTRY_VERIFY(place(u"keyNoticeText"_s).right() <= place(u"keyNoticeAction"_s).left());
    QVERIFY(place(u"keyNoticeAction"_s).right() <= place(u"keyNoticeClose"_s).left());
    QVERIFY(place(u"keyNoticeClose"_s).right() <= 640);
    QCOMPARE(!scene.item(u"keyNoticeText"_s).property("truncated").toBool(), isWhole);
    QVERIFY(place(u"keyNotice"_s).contains(place(u"keyNoticeText"_s)));
    QVERIFY(scene.item(u"keyNotice"_s).height() >= 36);
    QVERIFY(scene.item(u"keyNotice"_s).height() <= 90);
}

void tst_KeyNotice::theHintHasTheKeysName()
{
    const PanelScene scene(PanelScene::Model::missing);
    QCOMPARE(scene.text(u"hotKeyHint"_s), u"⌥Space"_s);
    const QQuickItem &hint = scene.item(u"hotKeyHint"_s);
    QTest::mouseMove(scene.window.get(), hint.mapToScene(QPointF(5, 5)).toPoint());
    QTRY_COMPARE(scene.window->findChild<QObject *>(u"hotKeyTip"_s)->property("visible"), true);
    QCOMPARE(scene.window->findChild<QObject *>(u"hotKeyTip"_s)->property("text"),
             u"Option+Space shows and hides Quillon"_s);
    // It is in the panel, although the hint is at its edge.
    const QObject &tip = *scene.window->findChild<QObject *>(u"hotKeyTip"_s);
    const double end = tip.property("x").toDouble() + tip.property("width").toDouble();
    QVERIFY(hint.mapToScene(QPointF(end, 0)).x() <= scene.window->width());
}

PANEL_TEST_MAIN(tst_KeyNotice)

#include "tst_KeyNotice.moc"
