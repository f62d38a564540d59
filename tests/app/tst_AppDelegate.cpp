#include "app/AppDelegate.h"
#include "app/HotKey.h"
#include "app/VisualEffect.h"
#include "app/WindowStyler.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Waiting.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

class tst_AppDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launchingActivatesARegularApplicationWithAHotKey();
    void aHiddenLaunchLeavesTheApplicationInFrontThere();
    void closingTheLastWindowDoesNotQuit();
    void reopeningSummonsFromTheEventLoop();
    void reopeningShowsAndNeverHides();
    void reopeningChangesNothingWhileAWindowIsVisible();
    void anotherStartSummonsAHiddenPanel();
    void anotherStartActivatesAVisiblePanel();
    void aWindowIsStyledFromTheEventLoop();
    void aDestroyedWindowIsNotStyled();
    void theMaterialIsBehindTheWindow();
};

void tst_AppDelegate::launchingActivatesARegularApplicationWithAHotKey()
{
    const FakePlatform platform;
    AppDelegate delegate;
    delegate.applicationDidFinishLaunching();
    QCOMPARE(platform.fakeShell.calls, (QStringList{u"regular"_s, u"register"_s, u"activate"_s}));
    QVERIFY(platform.fakeHotKey.press);
}

void tst_AppDelegate::aHiddenLaunchLeavesTheApplicationInFrontThere()
{
    const FakePlatform platform;
    AppDelegate delegate;
    delegate.applicationDidFinishLaunching(AppDelegate::Start::hidden);
    QCOMPARE(platform.fakeShell.calls, (QStringList{u"regular"_s, u"register"_s}));
    QVERIFY(platform.fakeHotKey.press);
}

void tst_AppDelegate::closingTheLastWindowDoesNotQuit()
{
    QVERIFY(!AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
}

void tst_AppDelegate::reopeningSummonsFromTheEventLoop()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    AppDelegate delegate;
    QVERIFY(delegate.applicationShouldHandleReopen(false));
    QVERIFY(platform.fakeShell.calls.isEmpty());
    QTRY_VERIFY(panel.isOnScreen);
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"activate"_s, u"front panel"_s, u"center panel"_s}));
}

void tst_AppDelegate::reopeningShowsAndNeverHides()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    AppDelegate delegate;
    QVERIFY(delegate.applicationShouldHandleReopen(false));
    // The desktop itself activates the application before the current event ends.
    HotKey::show();
    platform.fakeShell.calls.clear();
    QTRY_VERIFY(!platform.fakeShell.calls.isEmpty());
    QVERIFY(panel.isOnScreen);
    QVERIFY(!platform.fakeShell.calls.contains(u"hide"_s));
}

void tst_AppDelegate::reopeningChangesNothingWhileAWindowIsVisible()
{
    const FakePlatform platform;
    AppDelegate delegate;
    QVERIFY(delegate.applicationShouldHandleReopen(true));
    QCoreApplication::processEvents();
    QVERIFY(platform.fakeShell.calls.isEmpty());
}

void tst_AppDelegate::anotherStartSummonsAHiddenPanel()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    AppDelegate delegate;
    delegate.applicationWasStartedAgain();
    // Nothing happens before the event loop runs.
    QVERIFY(platform.fakeShell.calls.isEmpty());
    QTRY_VERIFY(panel.isOnScreen);
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"activate"_s, u"front panel"_s, u"center panel"_s}));
}

void tst_AppDelegate::anotherStartActivatesAVisiblePanel()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    panel.isOnScreen = true;
    platform.fakeShell.setWindow(&panel);
    AppDelegate delegate;
    delegate.applicationWasStartedAgain();
    QCoreApplication::processEvents();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"activate"_s});
}

void tst_AppDelegate::aWindowIsStyledFromTheEventLoop()
{
    FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    platform.fakeShell.setWindow(&panel);
    WindowStyler::make(panel);
    QVERIFY(platform.fakeShell.calls.isEmpty());
    QTRY_COMPARE(platform.fakeShell.calls, QStringList{u"style panel"_s});
}

void tst_AppDelegate::aDestroyedWindowIsNotStyled()
{
    FakePlatform platform;
    auto panel = std::optional<FakeNativeWindow>(u"panel"_s);
    platform.fakeShell.setWindow(&*panel);
    WindowStyler::make(*panel);
    platform.fakeShell.setWindow(nullptr);
    panel.reset();
    QCoreApplication::processEvents();
    QVERIFY(platform.fakeShell.calls.isEmpty());
}

void tst_AppDelegate::theMaterialIsBehindTheWindow()
{
    const FakePlatform platform;
    FakeNativeWindow panel(u"panel"_s);
    VisualEffect(Shell::Material::underWindowBackground).make(panel);
    QCOMPARE(platform.fakeShell.calls, QStringList{u"material 21 under panel"_s});
}

QTEST_GUILESS_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
