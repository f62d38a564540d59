#include "executor/Executor.h"
#include "platform/Platform.h"
#include "platform/Screen.h"
#include "tests/platform/linux/TestWindow.h"

#include <QTest>

#include <csignal>
#include <xcb/xcb_ewmh.h>

using namespace Qt::StringLiterals;

namespace {
// A window of this very process, as the assistant's own panel is one.
class OwnWindow
{
public:
    OwnWindow() : m_connection(xcb_connect(nullptr, nullptr))
    {
        // The server gives the first numbers of a client that has just ended to the next one, and
        // a busy openbox takes the new window for the old one.
        static int s_used = 100;
        for (int i = 0; i < s_used; ++i)
            m_window = xcb_generate_id(m_connection);
        ++s_used;
        const xcb_screen_t *const screen =
            xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 50, 50,
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_CLASS,
                            XCB_ATOM_STRING, 8, 8, "own\0Own");
        xcb_map_window(m_connection, m_window);
        xcb_flush(m_connection);
    }

    ~OwnWindow() { xcb_disconnect(m_connection); }

    OwnWindow(const OwnWindow &) = delete;
    OwnWindow &operator=(const OwnWindow &) = delete;

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_window = XCB_WINDOW_NONE;
};

Workspace &workspace()
{
    return Platform::current().workspace();
}

QString frontName()
{
    const std::optional<Application> front = workspace().frontmostApplication();
    return front ? front->name.value_or(u"nameless"_s) : u"nothing"_s;
}
} // namespace

class tst_LinuxScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void anEmptyDesktopShowsNothing();
    void windowsStandFrontToBackAndTheFirstIsInFront();
    void minimisedWindowsAreNotListed();
    void windowsOfOtherDesktopsAreNotListed();
    void onlyOrdinaryWindowsAreListed();
    void titlesThatAreNoTextAreMissing();
    void ownersAreWhatTheServerKnows();
    void ourOwnWindowsAreNeitherListedNorInFront();
    void aRealApplicationIsNamedByItsEntry();
    void theServerMayGoAndComeBack();
    void aServerThatHangsIsNotWaitedForForever();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxScreen::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->write(u".local/share/applications/terminal.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Black Box\nExec=xterm\n"
                     "StartupWMClass=XTerm\n");
}

void tst_LinuxScreen::cleanup()
{
    QTRY_COMPARE(Executor::windowSummary(), u"none"_s);
}

void tst_LinuxScreen::anEmptyDesktopShowsNothing()
{
    QVERIFY(Platform::current().screen().windows());
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    QVERIFY(workspace().runningApplications().isEmpty());
}

void tst_LinuxScreen::windowsStandFrontToBackAndTheFirstIsInFront()
{
    TestWindow first(*m_desktop, u"Ünïcode — 日本"_s, u"one.One"_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: One. Windows: One — Ünïcode — 日本"_s);
    TestWindow second(*m_desktop, u"b"_s, u"two.Two"_s);
    TestWindow third(*m_desktop, u""_s, u"three.Three"_s);
    QTRY_COMPARE(Executor::observe(),
                 u"Frontmost app: Three. Windows: Three; Two — b; One — Ünïcode — 日本"_s);
    third.end();
    second.end();
    first.end();
}

void tst_LinuxScreen::minimisedWindowsAreNotListed()
{
    TestWindow shown(*m_desktop, u"a"_s, u"one.One"_s);
    TestWindow other(*m_desktop, u"b"_s, u"two.Two"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Two — b; One — a"_s);
    other.iconify();
    QTRY_COMPARE(Executor::windowSummary(), u"One — a"_s);
    // It runs all the same.
    QCOMPARE(workspace().runningApplications().size(), 2);
    other.end();
    shown.end();
}

void tst_LinuxScreen::windowsOfOtherDesktopsAreNotListed()
{
    TestWindow elsewhere(*m_desktop, u"a"_s, u"one.One"_s, {u"elsewhere"_s});
    TestWindow everywhere(*m_desktop, u"b"_s, u"two.Two"_s, {u"sticky"_s});
    QTRY_COMPARE(Executor::windowSummary(), u"Two — b"_s);
    everywhere.end();
    elsewhere.end();
}

void tst_LinuxScreen::onlyOrdinaryWindowsAreListed()
{
    TestWindow dock(*m_desktop, u"a"_s, u"dock.Dock"_s, {u"dock"_s});
    TestWindow utility(*m_desktop, u"b"_s, u"utility.Utility"_s, {u"utility"_s});
    TestWindow desktop(*m_desktop, u"c"_s, u"desktop.Desktop"_s, {u"desktop"_s});
    TestWindow dialog(*m_desktop, u"d"_s, u"dialog.Dialog"_s, {u"dialog"_s});
    QTRY_COMPARE(Executor::windowSummary(), u"Dialog — d"_s);
    // The desktop's own is not even described; the others are, on another layer.
    const QList<WindowInfo> windows = Platform::current().screen().windows().value();
    QCOMPARE(windows.size(), 3);
    QCOMPARE(std::ranges::count(windows, 0, &WindowInfo::layer), 1);
    dialog.end();
    desktop.end();
    utility.end();
    dock.end();
}

void tst_LinuxScreen::titlesThatAreNoTextAreMissing()
{
    TestWindow untitled(*m_desktop, u"x"_s, u"one.One"_s, {u"untitled"_s});
    TestWindow latin(*m_desktop, u"x"_s, u"two.Two"_s, {u"latin1"_s});
    TestWindow numbers(*m_desktop, u"x"_s, u"three.Three"_s, {u"numbers"_s});
    QTRY_COMPARE(Executor::windowSummary(), u"Three; Two — café; One"_s);
    TestWindow classless(*m_desktop, u"x"_s, u"four.Four"_s, {u"classless"_s});
    QTRY_COMPARE(workspace().frontmostApplication().value_or(Application()).pid, classless.pid());
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: Three; Two — café; One"_s);
    classless.end();
    numbers.end();
    latin.end();
    untitled.end();
}

void tst_LinuxScreen::ownersAreWhatTheServerKnows()
{
    TestWindow liar(*m_desktop, u"a"_s, u"one.One"_s, {u"liar"_s});
    QTRY_COMPARE(workspace().frontmostApplication().value_or(Application()).pid, liar.pid());
    QCOMPARE(Platform::current().screen().windows()->constFirst().owner, liar.pid());
    liar.end();
}

void tst_LinuxScreen::ourOwnWindowsAreNeitherListedNorInFront()
{
    {
        const OwnWindow alone;
        QTRY_COMPARE(Platform::current().screen().windows()->size(), 1);
        QTRY_COMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    }
    TestWindow other(*m_desktop, u"a"_s, u"one.One"_s);
    QTRY_COMPARE(frontName(), u"One"_s);
    {
        const OwnWindow panel;
        QTRY_COMPARE(Platform::current().screen().windows()->size(), 2);
        // For a moment, while the manager hands the focus over, nothing is in front.
        QTRY_COMPARE(Executor::observe(), u"Frontmost app: One. Windows: One — a"_s);
        QCOMPARE(workspace().runningApplications().size(), 1);
    }
    QTRY_COMPARE(Platform::current().screen().windows()->size(), 1);
    other.end();
}

void tst_LinuxScreen::aRealApplicationIsNamedByItsEntry()
{
    QProcess &terminal =
        m_desktop->start(u"xterm"_s, {u"-T"_s, u"Hello"_s, u"-e"_s, u"sleep"_s, u"1000"_s});
    QTRY_COMPARE_WITH_TIMEOUT(Executor::observe(),
                              u"Frontmost app: Black Box. Windows: Black Box — Hello"_s, 10'000);
    const QList<Application> running = workspace().runningApplications();
    QCOMPARE(running, (QList<Application>{{.pid = ProcessId{terminal.processId()},
                                           .name = u"Black Box"_s,
                                           .policy = ActivationPolicy::regular,
                                           .location = m_desktop->home(
                                               u".local/share/applications/terminal.desktop"_s)}}));
    terminal.kill();
    terminal.waitForFinished();
}

void tst_LinuxScreen::theServerMayGoAndComeBack()
{
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    m_desktop->endServer();
    QVERIFY(!Platform::current().screen().windows());
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    workspace().terminate(ProcessId{1});
    m_desktop->startServer();
    QVERIFY(Platform::current().screen().windows());
    m_desktop.reset();
    m_desktop = std::make_unique<VirtualDesktop>();
    TestWindow window(*m_desktop, u"a"_s, u"one.One"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"One — a"_s);
    window.end();
}

void tst_LinuxScreen::aServerThatHangsIsNotWaitedForForever()
{
    QVERIFY(Platform::current().screen().windows());
    QCOMPARE(::kill(static_cast<pid_t>(m_desktop->server()), SIGSTOP), 0);
    QVERIFY(!Platform::current().screen().windows());
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    QCOMPARE(::kill(static_cast<pid_t>(m_desktop->server()), SIGCONT), 0);
    QTRY_VERIFY(Platform::current().screen().windows());
}

QTEST_GUILESS_MAIN(tst_LinuxScreen)
#include "tst_LinuxScreen.moc"
