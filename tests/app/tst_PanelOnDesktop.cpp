// The program with its panel like for a user: real windows, real keys, other applications.

#include "platform/linux/desktop/LinuxInstance.h"
#include "tests/platform/linux/TestWindow.h"
#include "tests/support/Hands.h"
#include "tests/support/VirtualDesktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QPoint>
#include <QTest>

#include <csignal>
#include <cstdlib>

#include <xcb/xcb.h>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
const QRect inTheMiddle(280, 90, 720, 620); // on a screen of 1280 by 800

/// A start of the program, with its output. The destructor kills it.
class Start
{
public:
    explicit Start(const QStringList &arguments = {}, const QProcessEnvironment &environment =
                                                          QProcessEnvironment::systemEnvironment())
    {
        m_process.setProcessEnvironment(environment);
        m_process.start(u"" PANEL_PROGRAM ""_s, arguments);
        if (!m_process.waitForStarted())
            qFatal("The program does not start.");
    }

    ~Start() { end(); }
    Start(const Start &) = delete;
    Start &operator=(const Start &) = delete;

    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] int exitCode() const { return m_process.exitCode(); }
    [[nodiscard]] ProcessId pid() const { return ProcessId{m_process.processId()}; }
    [[nodiscard]] QString errors() { return QString::fromUtf8(m_process.readAllStandardError()); }

    void signal(int number) const { ::kill(static_cast<pid_t>(m_process.processId()), number); }

    void end()
    {
        m_process.kill();
        m_process.waitForFinished(-1);
    }

private:
    QProcess m_process;
};

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

class tst_PanelOnDesktop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

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
    void aSecondStartSummonsWhatIsHidden();
    void aSecondStartBringsForwardWhatIsCovered();
    void aSecondStartChangesNothingWhileThePanelHasTheKeyboard();
    void toggleShowsAndHidesTheRunningPanel();
    void toggleStartsThePanelWhereNoneRuns();
    void desktopsReachThePanelOverTheirBus();
    void theBusStartsThePanelForWhateverIsAskedOfIt();
    void fiftyStartsAtOnceAreOnePanel();
    void aKilledPredecessorIsSucceeded();
    void aStoppedPredecessorIsNotWaitedForForever();
    void withoutASessionBusThePanelWorksAllTheSame();
    void aSessionBusThatGoesAwayLeavesThePanel();
    void withoutADisplayThereIsOneSentence_data();
    void withoutADisplayThereIsOneSentence();

private:
    [[nodiscard]] X11Snapshot look() { return m_screen.snapshot().value_or(X11Snapshot()); }
    [[nodiscard]] QString activeTitle()
    {
        const std::optional<X11Window> active = look().active;
        return active ? active->title.value_or(u"untitled"_s) : u"nothing"_s;
    }
    [[nodiscard]] std::optional<X11Window> panel()
    {
        for (const X11Window &window : look().windows) {
            if (window.title == u"Quillon")
                return window;
        }
        return std::nullopt;
    }
    [[nodiscard]] bool panelIsSeen()
    {
        const std::optional<X11Window> found = panel();
        return found && found->onScreen;
    }
    [[nodiscard]] bool panelHasTheKeyboard()
    {
        const std::optional<X11Window> found = panel();
        // According to the window manager and the X server.
        return found && look().active && look().active->id == found->id &&
               xdotool({u"getwindowfocus"_s}).trimmed() == number(*found).toLatin1();
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
    X11Desktop m_screen;
};

void tst_PanelOnDesktop::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
}

void tst_PanelOnDesktop::cleanup()
{
    QTRY_VERIFY(look().windows.isEmpty());
}

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
    QCOMPARE(panel()->owner, quillon.pid());
}

void tst_PanelOnDesktop::theHotKeyBringsThePanelInFrontOfAnotherApplication()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(geometry(*panel()), inTheMiddle);
}

void tst_PanelOnDesktop::theHotKeyHidesThePanelAndGivesTheFocusBack()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    TestWindow first(*m_desktop, u"first"_s, u"one.One"_s);
    TestWindow second(*m_desktop, u"second"_s, u"two.Two"_s);
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
    TestWindow first(*m_desktop, u"first"_s, u"one.One"_s);
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
    QFETCH(QStringList, locks);
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
    QFETCH(QStringList, layout);
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
    // Another client grabs all combinations of Alt with the space bar.
    constexpr xcb_keycode_t spaceBar = 65;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> owner(
        xcb_connect(nullptr, nullptr), &xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(owner.get())).data->root;
    xcb_generic_error_t *const refusal = xcb_request_check(
        owner.get(), xcb_grab_key_checked(owner.get(), 0, root, XCB_MOD_MASK_ANY, spaceBar,
                                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    QVERIFY(!refusal);

    Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"alt+space"_s);
    QVERIFY(QTest::qWaitFor([&] {
        xcb_generic_event_t *const event = xcb_poll_for_event(owner.get());
        const bool isPress = event && (event->response_type & 0x7f) == XCB_KEY_PRESS;
        std::free(event);
        return isPress;
    }));
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
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
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
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
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
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
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

void tst_PanelOnDesktop::aSecondStartSummonsWhatIsHidden()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    for (const bool isClosed : {false, true}) {
        if (isClosed)
            m_screen.close({panel()->id});
        else
            xdotool({u"windowminimize"_s, number(*panel())});
        QTRY_VERIFY(!panelIsSeen());
        Start second;
        QTRY_VERIFY(panelHasTheKeyboard());
        QTRY_COMPARE(geometry(*panel()), inTheMiddle);
        QTRY_VERIFY(!second.isRunning());
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(second.errors(), QString());
        QCOMPARE(panel()->owner, quillon.pid());
    }
}

void tst_PanelOnDesktop::aSecondStartBringsForwardWhatIsCovered()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    QTRY_COMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
    TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    const Start second;
    QTRY_VERIFY(panelHasTheKeyboard());
    // It was visible, so it was not summoned.
    QCOMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
}

void tst_PanelOnDesktop::aSecondStartChangesNothingWhileThePanelHasTheKeyboard()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    QTRY_COMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
    const Start second;
    QTRY_VERIFY(!second.isRunning());
    QCOMPARE(second.exitCode(), 0);
    QVERIFY(panelHasTheKeyboard());
    QCOMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
}

void tst_PanelOnDesktop::toggleShowsAndHidesTheRunningPanel()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    for (const bool isShown : {false, true, false}) {
        const Start toggle({u"--toggle"_s});
        QTRY_VERIFY(!toggle.isRunning());
        QCOMPARE(toggle.exitCode(), 0);
        if (isShown)
            QTRY_VERIFY(panelHasTheKeyboard());
        else
            QTRY_VERIFY(!panelIsSeen());
    }
}

void tst_PanelOnDesktop::toggleStartsThePanelWhereNoneRuns()
{
    const Start quillon({u"--toggle"_s});
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY(quillon.isRunning());
    QCOMPARE(panel()->owner, quillon.pid());
}

namespace {
/// Calls the program over the bus like desktops, which may start it.
bool call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"app.quillon.Quillon"_s, u"/app/quillon/Quillon"_s,
                                       u"org.freedesktop.Application"_s, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message).type() == QDBusMessage::ReplyMessage;
}
} // namespace

void tst_PanelOnDesktop::desktopsReachThePanelOverTheirBus()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    m_screen.close({panel()->id});
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Activate"_s, {QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY(call(u"ActivateAction"_s, {u"toggle"_s, QVariantList(), QVariantMap()}));
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Open"_s, {QStringList{u"file:///"_s}, QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelOnDesktop::theBusStartsThePanelForWhateverIsAskedOfIt()
{
    const auto reload = [] {
        const QDBusMessage message =
            QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                           u"org.freedesktop.DBus"_s, u"ReloadConfig"_s);
        return QDBusConnection::sessionBus().call(message).type() == QDBusMessage::ReplyMessage;
    };
    const QString service = u"../services/app.quillon.Quillon.service"_s; // beside the home folder
    m_desktop->write(service, "[D-BUS Service]\nName=app.quillon.Quillon\nExec=" PANEL_PROGRAM
                              " --activated\n");
    QVERIFY(reload());
    // A toggle shows the panel; the next one hides it.
    const QVariantList toggle{u"toggle"_s, QVariantList(), QVariantMap()};
    QVERIFY(call(u"ActivateAction"_s, toggle));
    QTRY_VERIFY(panelHasTheKeyboard());
    const auto quillon = static_cast<pid_t>(panel()->owner.value());
    QVERIFY(call(u"ActivateAction"_s, toggle));
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Activate"_s, {QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());

    QVERIFY(QFile::remove(m_desktop->home(service)));
    QVERIFY(reload());
    QCOMPARE(::kill(quillon, SIGKILL), 0);
}

void tst_PanelOnDesktop::fiftyStartsAtOnceAreOnePanel()
{
    std::vector<std::unique_ptr<Start>> starts;
    for (int i = 0; i < 50; ++i)
        starts.push_back(std::make_unique<Start>());
    const auto running = [&] {
        return std::ranges::count_if(starts, [](const auto &start) { return start->isRunning(); });
    };
    QTRY_COMPARE_WITH_TIMEOUT(running(), 1, 120'000);
    QTRY_VERIFY(panelHasTheKeyboard());
    int windows = 0;
    for (const X11Window &window : look().windows)
        windows += window.title == u"Quillon" ? 1 : 0;
    QCOMPARE(windows, 1);
    for (const auto &start : starts) {
        if (start->isRunning())
            QCOMPARE(panel()->owner, start->pid());
        else
            QCOMPARE(start->exitCode(), 0);
        QCOMPARE(start->errors(), QString());
    }
}

void tst_PanelOnDesktop::aKilledPredecessorIsSucceeded()
{
    for (int i = 0; i < 3; ++i) {
        const Start first;
        QTRY_VERIFY(panelHasTheKeyboard());
        first.signal(SIGKILL);
        const Start second;
        QTRY_VERIFY(panelHasTheKeyboard() && panel()->owner == second.pid());
        press(u"alt+space"_s);
        QTRY_VERIFY(!panelIsSeen());
    }
}

void tst_PanelOnDesktop::aStoppedPredecessorIsNotWaitedForForever()
{
    const Start first;
    QTRY_VERIFY(panelHasTheKeyboard());
    first.signal(SIGSTOP);
    Start second;
    QTRY_VERIFY_WITH_TIMEOUT(!second.isRunning(), LinuxInstance::answerLimit + 30'000);
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.errors(),
             u"Quillon is running but does not answer: end it, then start it again.\n"_s);
    // It receives the missed requests when it continues.
    first.signal(SIGCONT);
    const Start third({u"--toggle"_s});
    QTRY_VERIFY(!third.isRunning());
    QCOMPARE(third.exitCode(), 0);
    QTRY_VERIFY(!panelIsSeen());
}

void tst_PanelOnDesktop::withoutASessionBusThePanelWorksAllTheSame()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere/bus"_s);
    const Start quillon({}, environment);
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelOnDesktop::aSessionBusThatGoesAwayLeavesThePanel()
{
    QProcess bus;
    bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QTRY_VERIFY(bus.canReadLine());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromUtf8(bus.readLine().trimmed()));
    Start quillon({}, environment);
    QTRY_VERIFY(panelHasTheKeyboard());
    bus.kill();
    QVERIFY(bus.waitForFinished());
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY2(quillon.isRunning(), qPrintable(quillon.errors()));
}

void tst_PanelOnDesktop::withoutADisplayThereIsOneSentence_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("display");

    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("one where nobody answers") << QStringList() << u":987"_s;
    QTest::newRow("a toggle") << QStringList{u"--toggle"_s} << QString();
}

void tst_PanelOnDesktop::withoutADisplayThereIsOneSentence()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, display);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, display);
    Start quillon(arguments, environment);
    QTRY_VERIFY(!quillon.isRunning());
    QCOMPARE(quillon.exitCode(), 1);
    QCOMPARE(quillon.errors(),
             u"Quillon needs a desktop to show its panel on; without one, give it a task: "
             "quillon --task \"Find the latest PDF in my Downloads folder\"\n"_s);
}

QTEST_GUILESS_MAIN(tst_PanelOnDesktop)
#include "tst_PanelOnDesktop.moc"
