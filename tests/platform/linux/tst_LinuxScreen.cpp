#include "executor/Executor.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/Screen.h"
#include "tests/platform/linux/TestWindow.h"
#include "tests/support/Waiting.h"

#include <QTest>

#include <csignal>
#include <cstdlib>
#include <xcb/xcb_ewmh.h>

using namespace Qt::StringLiterals;

namespace {
// A window of this process, like the assistant's panel.
class OwnWindow
{
public:
    OwnWindow() : m_connection(xcb_connect(nullptr, nullptr))
    {
        // The server reuses the ids of a client that has just ended, and a busy openbox mistakes
        // the new window for the old one.
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

// Adds more windows to the front of the window manager's lists than are described. It writes the
// lists again when a window is added or removed.
void addCrowd()
{
    int screen = 0;
    xcb_connection_t *const connection = xcb_connect(nullptr, &screen);
    xcb_ewmh_connection_t ewmh{};
    xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection, &ewmh), nullptr);
    xcb_ewmh_get_windows_reply_t real{};
    if (!xcb_ewmh_get_client_list_stacking_reply(
            &ewmh, xcb_ewmh_get_client_list_stacking(&ewmh, screen), &real, nullptr))
        qFatal("The window manager has no list.");
    QList<xcb_window_t> windows;
    for (int i = 0; i < 1100; ++i)
        windows.append(xcb_generate_id(connection));
    for (uint32_t i = 0; i < real.windows_len; ++i)
        windows.append(real.windows[i]);
    const auto count = static_cast<uint32_t>(windows.size());
    xcb_ewmh_set_client_list_stacking(&ewmh, screen, count, windows.data());
    xcb_ewmh_set_client_list(&ewmh, screen, count, windows.data());
    xcb_flush(connection);
    xcb_ewmh_get_windows_reply_wipe(&real);
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    xcb_ewmh_connection_wipe(&ewmh);
    xcb_disconnect(connection);
}

// The window manager's properties name a window that was destroyed as the active one, while this
// process has its range of ids. Some do that until another window has the focus.
class DestroyedWindow
{
public:
    explicit DestroyedWindow(bool isListed) : m_connection(xcb_connect(nullptr, &m_screen))
    {
        xcb_ewmh_init_atoms_replies(&m_ewmh, xcb_ewmh_init_atoms(m_connection, &m_ewmh), nullptr);
        announce(xcb_generate_id(m_connection), isListed);
    }

    ~DestroyedWindow()
    {
        announce(XCB_WINDOW_NONE, false);
        xcb_ewmh_connection_wipe(&m_ewmh);
        xcb_disconnect(m_connection);
    }

    DestroyedWindow(const DestroyedWindow &) = delete;
    DestroyedWindow &operator=(const DestroyedWindow &) = delete;

private:
    void announce(xcb_window_t window, bool isListed)
    {
        xcb_ewmh_set_client_list(&m_ewmh, m_screen, isListed ? 1 : 0, &window);
        xcb_ewmh_set_client_list_stacking(&m_ewmh, m_screen, isListed ? 1 : 0, &window);
        xcb_ewmh_set_active_window(&m_ewmh, m_screen, window);
        std::free(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

    int m_screen = 0;
    xcb_connection_t *m_connection;
    xcb_ewmh_connection_t m_ewmh{};
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
    void aDestroyedWindowBelongsToNoProcess();
    void ourOwnWindowsAreNeitherListedNorInFront();
    void aRealApplicationIsNamedByItsEntry();
    void theClassDecidesBeforeTheProgram_data();
    void theClassDecidesBeforeTheProgram();
    void whatSaysThatItIsTheAssistantIsNeverInFront();
    void theFrontIsFoundAmongAThousandWindows();
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
    // It is still running.
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
    // The desktop's own window is not listed; the others are, on another layer.
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

void tst_LinuxScreen::aDestroyedWindowBelongsToNoProcess()
{
    {
        const DestroyedWindow unlisted(false);
        QCOMPARE(workspace().focusedProcess(), std::optional<ProcessId>());
    }
    {
        // A busy window manager lists it until it has processed the event.
        const DestroyedWindow listed(true);
        QCOMPARE(workspace().focusedProcess(), ProcessId{});
        QCOMPARE(Platform::current().screen().windows()->constFirst().owner,
                 std::optional<ProcessId>());
    }
    QCOMPARE(workspace().focusedProcess(), std::optional<ProcessId>());
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
        // While the window manager changes the focus, no window is active for a moment.
        QTRY_COMPARE(workspace().focusedProcess(), ProcessId{QCoreApplication::applicationPid()});
        QCOMPARE(Executor::observe(), u"Frontmost app: One. Windows: One — a"_s);
        QCOMPARE(workspace().runningApplications().size(), 1);
    }
    QTRY_COMPARE(Platform::current().screen().windows()->size(), 1);
    other.end();
}

void tst_LinuxScreen::aRealApplicationIsNamedByItsEntry()
{
    QProcess &terminal =
        m_desktop->start(u"xterm"_s, {u"-T"_s, u"Hello"_s, u"-e"_s, u"sleep"_s, u"1000"_s});
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Black Box. Windows: Black Box — Hello"_s);
    const QList<Application> running = workspace().runningApplications();
    QCOMPARE(running, (QList<Application>{{.pid = ProcessId{terminal.processId()},
                                           .name = u"Black Box"_s,
                                           .policy = ActivationPolicy::regular,
                                           .location = m_desktop->home(
                                               u".local/share/applications/terminal.desktop"_s)}}));
    terminal.kill();
    terminal.waitForFinished();
}

void tst_LinuxScreen::theClassDecidesBeforeTheProgram_data()
{
    QTest::addColumn<QString>("windowClass");
    QTest::addColumn<QString>("name");
    QTest::newRow("named by its class") << u"mail.Mail"_s << u"Mail"_s;
    QTest::newRow("whatever its instance is called")
        << u"quillon-test-window.Slack"_s << u"Slack"_s;
    QTest::newRow("by its instance alone") << u"outlook."_s << u"outlook"_s;
    QTest::newRow("an entry of that class") << u"x.claimed"_s << u"Claimed"_s;
    QTest::newRow("an entry that claims the instance") << u"crx_1.Browser"_s << u"Web Mail"_s;
    QTest::newRow("an instance in other letters") << u"CRX_1.Signal"_s << u"Signal"_s;
    QTest::newRow("an instance named as an entry") << u"python.Teams"_s << u"Teams"_s;
    QTest::newRow("a class named as the program")
        << u"x.Quillon-Test-Window"_s << u"Python (v3.11)"_s;
    QTest::newRow("an instance named as the program")
        << u"quillon-test-window."_s << u"Python (v3.11)"_s;
}

void tst_LinuxScreen::theClassDecidesBeforeTheProgram()
{
    QFETCH(const QString, windowClass);
    QFETCH(const QString, name);
    const QString folder = u".local/share/applications/"_s;
    const auto write = [&](const QString &file, const QByteArray &called, const QByteArray &rest) {
        m_desktop->write(folder + file,
                         "[Desktop Entry]\nType=Application\nName=" + called + '\n' + rest + '\n');
    };
    // The program is like an interpreter for these windows.
    write(u"python.desktop"_s, "Python (v3.11)", "Exec=" TEST_WINDOW);
    write(u"claimed.desktop"_s, "Claimed", "Exec=/bin/true");
    write(u"app.desktop"_s, "Web Mail", "Exec=/bin/true\nStartupWMClass=crx_1");
    TestWindow window(*m_desktop, u"a"_s, windowClass);
    QTRY_COMPARE(frontName(), name);
    window.end();
}

void tst_LinuxScreen::whatSaysThatItIsTheAssistantIsNeverInFront()
{
    // It may be in a container, or of another user.
    TestWindow other(*m_desktop, u"a"_s, u"one.One"_s);
    QTRY_COMPARE(frontName(), u"One"_s);
    TestWindow panel(*m_desktop, u"b"_s, u"copy.Quillon"_s);
    QTRY_COMPARE(workspace().focusedProcess(), panel.pid());
    QCOMPARE(Executor::observe(), u"Frontmost app: One. Windows: One — a"_s);
    QCOMPARE(workspace().runningApplications().size(), 1);
    other.end();
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    panel.end();
}

void tst_LinuxScreen::theFrontIsFoundAmongAThousandWindows()
{
    TestWindow mail(*m_desktop, u"a"_s, u"mail.Mail"_s);
    QTRY_COMPARE(workspace().focusedProcess(), mail.pid());
    addCrowd();
    QCOMPARE(frontName(), u"Mail"_s);
    QCOMPARE(Executor::windowSummary(), u"Mail — a"_s);
    // Also behind our own window.
    const OwnWindow panel;
    QTRY_COMPARE(workspace().focusedProcess(), ProcessId{QCoreApplication::applicationPid()});
    addCrowd();
    QCOMPARE(workspace().focusedProcess(), ProcessId{QCoreApplication::applicationPid()});
    QCOMPARE(frontName(), u"Mail"_s);
    mail.end();
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
    // An unreadable front is not the same as none.
    QString sentence;
    try {
        (void)workspace().frontmostApplication();
    } catch (const PlatformError &error) {
        sentence = QString::fromUtf8(error.what());
    }
    QCOMPARE(sentence, u"The X server does not answer."_s);
    QCOMPARE(::kill(static_cast<pid_t>(m_desktop->server()), SIGCONT), 0);
    QTRY_VERIFY(Platform::current().screen().windows());
}

QTEST_GUILESS_MAIN(tst_LinuxScreen)
#include "tst_LinuxScreen.moc"
