#include "app/HotKey.h"
#include "app/Panel.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Waiting.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>

using namespace Qt::StringLiterals;

class tst_Panel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTrustIsReadAtTheStart();
    void theTrustIsReadAgainOnEverySummon();
    void theTrustIsReadAgainWhenTheApplicationBecomesActive();
    void requestTrustCallsThePlatform();
    void aPermissionThatIsGrantedAtOnceIsReadAtOnce();
    void theSummonIsForwarded();
    void hideHidesTheApplication();
    void closeAndMinimiseAreForwardedToTheWindow();
    void doesNothingWithoutAWindow();
    void theLookIsThatOfTheDesktop();
    void theCompositorMayComeAndGo();
};

void tst_Panel::theTrustIsReadAtTheStart()
{
    FakePlatform platform;
    platform.fakeAccessibility.trusted = true;
    QVERIFY(Panel().isTrusted());
    platform.fakeAccessibility.trusted = false;
    QVERIFY(!Panel().isTrusted());
}

void tst_Panel::theTrustIsReadAgainOnEverySummon()
{
    FakePlatform platform;
    platform.fakeAccessibility.trusted = false;
    const Panel panel;
    const QSignalSpy changes(&panel, &Panel::trustedChanged);
    platform.fakeAccessibility.trusted = true;
    QVERIFY(!panel.isTrusted()); // there is no timer
    HotKey::summon();
    QVERIFY(panel.isTrusted());
    QCOMPARE(changes.size(), 1);
    HotKey::summon();
    QCOMPARE(changes.size(), 1);
}

void tst_Panel::theTrustIsReadAgainWhenTheApplicationBecomesActive()
{
    FakePlatform platform;
    platform.fakeAccessibility.trusted = false;
    const Panel panel;
    platform.fakeAccessibility.trusted = true;
    QWindow window;
    window.show();
    window.requestActivate();
    QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationActive);
    QTRY_VERIFY(panel.isTrusted());
}

void tst_Panel::requestTrustCallsThePlatform()
{
    const FakePlatform platform;
    Panel panel;
    panel.requestTrust();
    QCOMPARE(platform.fakeAccessibility.trustRequests, 1);
}

void tst_Panel::aPermissionThatIsGrantedAtOnceIsReadAtOnce()
{
    FakePlatform platform;
    platform.fakeAccessibility.trusted = false;
    platform.fakeAccessibility.givesTrust = true;
    Panel panel;
    const QSignalSpy changes(&panel, &Panel::trustedChanged);
    panel.requestTrust();
    QVERIFY(panel.isTrusted());
    QCOMPARE(changes.size(), 1);
}

void tst_Panel::theSummonIsForwarded()
{
    FakePlatform platform;
    platform.fakeAccessibility.trusted = false;
    const Panel panel;
    platform.fakeAccessibility.trusted = true;
    bool wasTrusted = false;
    connect(&panel, &Panel::summonPalette, &panel, [&] { wasTrusted = panel.isTrusted(); });
    const QSignalSpy summons(&panel, &Panel::summonPalette);
    HotKey::summon();
    QCOMPARE(summons.size(), 1);
    QVERIFY(wasTrusted);
}

void tst_Panel::hideHidesTheApplication()
{
    const FakePlatform platform;
    Panel().hide();
    QCOMPARE(platform.fakeShell.calls, QStringList{u"hide"_s});
}

void tst_Panel::closeAndMinimiseAreForwardedToTheWindow()
{
    const FakePlatform platform;
    FakeNativeWindow window(u"panel"_s);
    Panel panel;
    panel.setWindow(&window);
    window.isOnScreen = true;
    panel.minimise();
    QVERIFY(!window.isOnScreen);
    window.isOnScreen = true;
    panel.close();
    QVERIFY(!window.isOnScreen);
    QVERIFY(platform.fakeShell.calls.isEmpty());
}

void tst_Panel::doesNothingWithoutAWindow()
{
    const FakePlatform platform;
    Panel panel;
    panel.minimise();
    panel.close();
    QVERIFY(platform.fakeShell.calls.isEmpty());
}

void tst_Panel::theLookIsThatOfTheDesktop()
{
    FakePlatform platform;
    const Panel panel;
    QVERIFY(!panel.isDark());
    QVERIFY(!panel.hasReducedMotion());
    QVERIFY(!panel.accentColor().isValid());
    const QSignalSpy changes(&panel, &Panel::lookChanged);
    platform.fakeAppearance.change(
        {.isDark = true, .hasReducedMotion = true, .accent = Look::Color{1, 0.5, 0}});
    QCOMPARE(changes.size(), 1);
    QVERIFY(panel.property("darkMode").toBool());
    QVERIFY(panel.property("reducedMotion").toBool());
    QCOMPARE(panel.property("accentColor").value<QColor>().name(), u"#ff8000"_s);
}

void tst_Panel::theCompositorMayComeAndGo()
{
    FakePlatform platform;
    const Panel panel;
    const QSignalSpy changes(&panel, &Panel::compositedChanged);
    QVERIFY(!panel.isComposited());
    QVERIFY(!panel.blursBehind());
    platform.fakeShell.changeComposition(true, true);
    QVERIFY(panel.property("blursBehind").toBool());
    QVERIFY(panel.property("composited").toBool());
    QCOMPARE(changes.size(), 1);
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    tst_Panel test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Panel.moc"
