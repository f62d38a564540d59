#include "app/HotKey.h"
#include "tests/support/FakePlatform.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_HotKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summoningActivatesTheApplicationAndCentresThePanel();
    void theSignalFollowsWhenThePanelIsInFront();
    void summoningHidesTheApplicationIfThePanelHasTheFocus();
    void summoningShowsAHiddenPanel_data();
    void summoningShowsAHiddenPanel();
    void aWindowThatCannotBecomeMainIsNotMoved();
    void anApplicationWithoutWindowsIsStillActivated();
    void thePressedKeySummons();
};

void tst_HotKey::summoningActivatesTheApplicationAndCentresThePanel()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"activate"_s, u"front panel"_s, u"center panel"_s}));
    QVERIFY(panel.isOnScreen);

    // It is centred again, wherever the user has moved it.
    panel.isFocused = false;
    platform.fakeShell.calls.clear();
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"activate"_s, u"front panel"_s, u"center panel"_s}));
}

void tst_HotKey::theSignalFollowsWhenThePanelIsInFront()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    int summons = 0;
    const QObject listener;
    connect(&HotKey::shared(), &HotKey::summonPalette, &listener, [&] {
        ++summons;
        QCOMPARE(platform.fakeShell.calls.last(), u"center panel"_s);
    });
    HotKey::summon();
    QCOMPARE(summons, 1);
    HotKey::summon();
    QCOMPARE(summons, 1); // this one hid it
    QVERIFY(HotKey::staticMetaObject.indexOfSignal("summonPalette()") >= 0);
}

void tst_HotKey::summoningHidesTheApplicationIfThePanelHasTheFocus()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    HotKey::summon();
    platform.fakeShell.calls.clear();
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"hide"_s});
    QVERIFY(!panel.isOnScreen);
}

void tst_HotKey::summoningShowsAHiddenPanel_data()
{
    QTest::addColumn<bool>("isActive");
    QTest::addColumn<bool>("isKey");
    QTest::addColumn<bool>("isVisible");

    QTest::newRow("nothing") << false << false << false;
    QTest::newRow("another application is in front") << false << false << true;
    QTest::newRow("another application is in front, the panel was key") << false << true << true;
    QTest::newRow("another window of ours has the keyboard") << true << false << true;
    QTest::newRow("the key panel is not visible") << true << true << false;
    QTest::newRow("minimised while active") << true << false << false;
}

void tst_HotKey::summoningShowsAHiddenPanel()
{
    QFETCH(const bool, isActive);
    QFETCH(const bool, isKey);
    QFETCH(const bool, isVisible);
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    platform.fakeShell.isInFront = isActive;
    panel.isFocused = isKey;
    panel.isOnScreen = isVisible;
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"activate"_s, u"front panel"_s, u"center panel"_s}));
}

void tst_HotKey::aWindowThatCannotBecomeMainIsNotMoved()
{
    FakePlatform platform;
    FakeNativeWindow tip(u"tip"_s);
    tip.mayBecomeMain = false;
    platform.fakeShell.setWindow(&tip);
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"activate"_s});
    QVERIFY(!tip.isOnScreen);
}

void tst_HotKey::anApplicationWithoutWindowsIsStillActivated()
{
    const FakePlatform platform;
    const QSignalSpy summons(&HotKey::shared(), &HotKey::summonPalette);
    HotKey::summon();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"activate"_s});
    QCOMPARE(summons.size(), 1);
}

void tst_HotKey::thePressedKeySummons()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    HotKey::shared().registerKey();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"register"_s});
    platform.fakeHotKey.press();
    QVERIFY(panel.isOnScreen);
    platform.fakeHotKey.press();
    QVERIFY(!panel.isOnScreen);
}

QTEST_GUILESS_MAIN(tst_HotKey)
#include "tst_HotKey.moc"
