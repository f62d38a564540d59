#include "platform/linux/desktop/LinuxInstance.h"
#include "tests/app/PanelOnDesktopFixture.h"
#include "tests/support/KeyOwner.h"
#include "tests/support/Waiting.h"

#include <QPoint>
#include <QTest>

#include <cstdlib>

#include <xcb/xcb.h>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
/// Whether the window requests blur behind it.
bool asksForBlur(const X11Window &window)
{
    xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
    const QByteArray name = "_KDE_NET_WM_BLUR_BEHIND_REGION";
    xcb_intern_atom_reply_t *const atom = xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr);
    xcb_get_property_reply_t *const property =
        xcb_get_property_reply(connection,
                               xcb_get_property(connection, 0, static_cast<uint32_t>(window.id),
                                                atom->atom, XCB_ATOM_CARDINAL, 0, 4),
                               nullptr);
    const bool hasRegion = property && xcb_get_property_value_length(property) > 0;
    std::free(property);
    std::free(atom);
    xcb_disconnect(connection);
    return hasRegion;
}
} // namespace

class tst_PanelOnDesktop : public PanelOnDesktopFixture
{
    Q_OBJECT

private Q_SLOTS:
    void startingOpensThePanelInTheMiddleWithTheKeyboard();
    void thePanelCannotBeMadeSmallerThanItsContents();
    void thePanelIsAnOrdinaryApplicationOfTheTaskBar();
    void theHotKeyBringsThePanelInFrontOfAnotherApplication();
    void theHotKeyHidesThePanelAndGivesTheFocusBack();
    void aWindowThatWasMinimisedMeanwhileStaysSo();
    void theHotKeyWorksWhateverIsLocked_data();
    void theHotKeyWorksWhateverIsLocked();
    void theHotKeyWorksInEveryLayout_data();
    void theHotKeyWorksInEveryLayout();
    void holdingTheHotKeyIsOnePress();
    void lettingGoOfAltFirstIsOnePress();
    void aHotKeyThatIsTakenIsNotMentioned();
    void aHiddenStartShowsThePanelAtItsKey();
    void fiftyQuickTogglesLeaveAPanelThatWorks();
    void everySummonPutsThePanelInTheMiddleAgain();
    void thePanelKeepsItsSizeBetweenSummons();
    void escapeHidesThePanel();
    void closingThePanelLeavesTheProgramRunning();
    void ctrlQEndsTheProgram();
    void aMinimisedPanelIsSummoned();
};

void tst_PanelOnDesktop::startingOpensThePanelInTheMiddleWithTheKeyboard()
{
    Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
    QCOMPARE(quillon.errors(), QString());
}

void tst_PanelOnDesktop::thePanelCannotBeMadeSmallerThanItsContents()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowsize"_s, number(*panel()), u"100"_s, u"100"_s});
    QTRY_COMPARE(geometry(*panel()).size(), QSize(640, 460));
}

void tst_PanelOnDesktop::thePanelIsAnOrdinaryApplicationOfTheTaskBar()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    QCOMPARE(panel()->kind, X11Window::Kind::ordinary);
    QVERIFY(panel()->inTaskBar);
    QCOMPARE(panel()->className, u"Quillon"_s);
    QCOMPARE(panel()->process, quillon.pid());
}

void tst_PanelOnDesktop::theHotKeyBringsThePanelInFrontOfAnotherApplication()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
}

void tst_PanelOnDesktop::theHotKeyHidesThePanelAndGivesTheFocusBack()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    const TestWindow first(*m_desktop, u"first"_s, u"one.One"_s);
    const TestWindow second(*m_desktop, u"second"_s, u"two.Two"_s);
    QTRY_COMPARE(activeTitle(), u"second"_s);
    for (const QString &title : {u"first"_s, u"second"_s}) {
        for (const X11Window &window : look().windows) {
            if (window.title == title)
                m_screen.activate(window.id);
        }
        QTRY_COMPARE(activeTitle(), title);
        press(u"alt+space"_s);
        QTRY_VERIFY(panelHasTheKeyboard());
        press(u"alt+space"_s);
        QTRY_COMPARE(activeTitle(), title);
        QTRY_VERIFY(!panelIsSeen());
        QVERIFY(quillon.isRunning());
    }
}

void tst_PanelOnDesktop::aWindowThatWasMinimisedMeanwhileStaysSo()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    const TestWindow first(*m_desktop, u"first"_s, u"one.One"_s);
    TestWindow second(*m_desktop, u"second"_s, u"two.Two"_s);
    QTRY_COMPARE(activeTitle(), u"second"_s);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    second.iconify();
    const auto isMinimised = [this] {
        for (const X11Window &window : look().windows) {
            if (window.title == u"second")
                return !window.onScreen;
        }
        return false;
    };
    QTRY_VERIFY(isMinimised());
    press(u"alt+space"_s);
    QTRY_COMPARE(activeTitle(), u"first"_s);
    QVERIFY(isMinimised());
}

void tst_PanelOnDesktop::theHotKeyWorksWhateverIsLocked_data()
{
    QTest::addColumn<QStringList>("locks");

    QTest::newRow("nothing") << QStringList();
    QTest::newRow("Caps Lock") << QStringList{u"Caps_Lock"_s};
    QTest::newRow("Num Lock") << QStringList{u"Num_Lock"_s};
    QTest::newRow("Scroll Lock") << QStringList{u"Scroll_Lock"_s};
    QTest::newRow("Caps Lock and Num Lock") << QStringList{u"Caps_Lock"_s, u"Num_Lock"_s};
}

void tst_PanelOnDesktop::theHotKeyWorksWhateverIsLocked()
{
    QFETCH(const QStringList, locks);
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    for (const QString &lock : locks)
        press(lock);
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    for (const QString &lock : locks)
        press(lock);
}

void tst_PanelOnDesktop::theHotKeyWorksInEveryLayout_data()
{
    QTest::addColumn<QStringList>("layout");

    QTest::newRow("German") << QStringList{u"de"_s};
    QTest::newRow("Cyrillic first") << QStringList{u"-layout"_s, u"ru,us"_s};
    QTest::newRow("Alt where Super was")
        << QStringList{u"us"_s, u"-option"_s, u"altwin:swap_alt_win"_s};
    QTest::newRow("Alt where Control was")
        << QStringList{u"us"_s, u"-option"_s, u"ctrl:swap_lalt_lctl"_s};
}

void tst_PanelOnDesktop::theHotKeyWorksInEveryLayout()
{
    QFETCH(const QStringList, layout);
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    QCOMPARE(QProcess::execute(u"setxkbmap"_s, layout), 0);
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    QCOMPARE(QProcess::execute(u"setxkbmap"_s, {u"-layout"_s, u"us"_s, u"-option"_s, QString()}),
             0);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelOnDesktop::holdingTheHotKeyIsOnePress()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    // With a repeat delay of 50 ms and an interval of 20 ms, to be fast.
    QCOMPARE(QProcess::execute(u"xset"_s, {u"r"_s, u"rate"_s, u"50"_s, u"50"_s}), 0);
    xdotool({u"keydown"_s, u"alt"_s, u"keydown"_s, u"space"_s});
    QTRY_VERIFY(!panelIsSeen());
    const auto staysHidden = [this] {
        for (int i = 0; i < 20; ++i) {
            QTest::qWait(25);
            if (panelIsSeen())
                return false;
        }
        return true;
    };
    QVERIFY(staysHidden());
    xdotool({u"keyup"_s, u"space"_s, u"keyup"_s, u"alt"_s});
    QCOMPARE(QProcess::execute(u"xset"_s, {u"r"_s, u"rate"_s}), 0);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

// Users release the two keys in any order, and may press the next key before.
void tst_PanelOnDesktop::lettingGoOfAltFirstIsOnePress()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    xdotool({u"keydown"_s, u"alt"_s, u"keydown"_s, u"space"_s, u"keyup"_s, u"alt"_s, u"key"_s,
             u"a"_s, u"key"_s, u"b"_s, u"keyup"_s, u"space"_s});
    QTRY_VERIFY(panelHasTheKeyboard());
    QCOMPARE(QProcess::execute(u"xset"_s, {u"r"_s, u"rate"_s, u"50"_s, u"50"_s}), 0);
    xdotool({u"keydown"_s, u"alt"_s, u"keydown"_s, u"space"_s});
    QTRY_VERIFY(!panelIsSeen());
    xdotool(
        {u"sleep"_s, u"0.2"_s, u"keyup"_s, u"alt"_s, u"sleep"_s, u"0.2"_s, u"keyup"_s, u"space"_s});
    QCOMPARE(QProcess::execute(u"xset"_s, {u"r"_s, u"rate"_s}), 0);
    // A second press would have been handled before this one.
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelOnDesktop::aHiddenStartShowsThePanelAtItsKey()
{
    const Start quillon({u"--background"_s});
    QTRY_VERIFY(LinuxInstance::runningOwnsHotKey());
    const Start again({u"--background"_s});
    QTRY_VERIFY(!again.isRunning());
    QCOMPARE(again.exitCode(), 0);
    QVERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
}

void tst_PanelOnDesktop::aHotKeyThatIsTakenIsNotMentioned()
{
    KeyOwner owner;
    Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"alt+space"_s);
    QVERIFY(QTest::qWaitFor([&] { return owner.takesPress(); }));
    QVERIFY(panelHasTheKeyboard());
    QCOMPARE(quillon.errors(), QString());

    // The other way still works.
    const Start toggle({u"--toggle"_s});
    QTRY_VERIFY(!panelIsSeen());
}

void tst_PanelOnDesktop::fiftyQuickTogglesLeaveAPanelThatWorks()
{
    Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    xdotool({u"key"_s, u"--repeat"_s, u"50"_s, u"--repeat-delay"_s, u"5"_s, u"alt+space"_s});

    // It ends in one of its two states, and the key then leads to the other one.
    const auto isHidden = [this] { return !panelIsSeen() && activeTitle() == u"other"; };
    bool wasHidden = false;
    int looks = 0;
    QTRY_VERIFY([&] {
        const bool hidden = isHidden();
        looks = hidden == wasHidden && (hidden || panelHasTheKeyboard()) ? looks + 1 : 0;
        wasHidden = hidden;
        return looks >= 5;
    }());
    const auto isAt = [&](bool hidden) { return hidden ? isHidden() : panelHasTheKeyboard(); };
    press(u"alt+space"_s);
    QTRY_VERIFY(isAt(!wasHidden));
    press(u"alt+space"_s);
    QTRY_VERIFY(isAt(wasHidden));
    if (wasHidden)
        press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
    QCOMPARE(quillon.errors(), QString());
}

void tst_PanelOnDesktop::everySummonPutsThePanelInTheMiddleAgain()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    QTRY_COMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);

    // Also if it is only covered.
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
}

void tst_PanelOnDesktop::thePanelKeepsItsSizeBetweenSummons()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowsize"_s, number(*panel()), u"800"_s, u"500"_s});
    QTRY_COMPARE(geometry(*panel()).size(), QSize(800, 500));
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), QRect(240, 150, 800, 500));
}

void tst_PanelOnDesktop::escapeHidesThePanel()
{
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"Escape"_s);
    QTRY_VERIFY(!panelIsSeen());
    QTRY_COMPARE(activeTitle(), u"other"_s);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelOnDesktop::closingThePanelLeavesTheProgramRunning()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_VERIFY(asksForBlur(*panel()));
    m_screen.close({panel()->id});
    QTRY_VERIFY(!panel());
    QVERIFY(quillon.isRunning());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
    // It is a new X window with the same properties.
    QTRY_VERIFY(asksForBlur(*panel()));
}

void tst_PanelOnDesktop::ctrlQEndsTheProgram()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"ctrl+q"_s);
    QTRY_VERIFY(!quillon.isRunning());
    QCOMPARE(quillon.exitCode(), 0);
}

void tst_PanelOnDesktop::aMinimisedPanelIsSummoned()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    xdotool({u"windowminimize"_s, number(*panel())});
    QTRY_VERIFY(panel() && !panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
}

QTEST_GUILESS_MAIN(tst_PanelOnDesktop)
#include "tst_PanelOnDesktop.moc"
