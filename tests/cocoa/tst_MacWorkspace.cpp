#include "FakeCoreFoundation.h"
#include "FakeLibproc.h"
#include "MainLoop.h"
#include "platform/PlatformError.h"
#include "platform/Screen.h"
#include "platform/macos/MacWorkspace.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
class OneWindow final : public Screen
{
public:
    std::optional<QList<WindowInfo>> windows() override { return shown; }
    QFuture<void> capture(const std::filesystem::path &) override { return {}; }

    QList<WindowInfo> shown;
};
} // namespace

class tst_MacWorkspace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void requestsFinishOnTheMainThread_data();
    void requestsFinishOnTheMainThread();
    void aFailureHasTheSystemsSentence_data();
    void aFailureHasTheSystemsSentence();
    void requestsMayOutliveTheWorkspace();
    void runningApplicationsAreDescribed();
    void theWorkspaceIsUsedOnlyWhileTheLoopOfAppKitRuns();
    void theApplicationInFrontIsDescribed();
    void otherInstancesAreOurs();
    void theTerminalOfATaskIsOurs();
    void weAreNeverInFront();
    void anApplicationIsBroughtToTheFront();
    void terminatesAnApplication();
    void itemsAreRevealedAndTrashed();

private:
    OneWindow m_screen;
    MacWorkspace m_workspace{m_screen};
};

namespace {
using Request = std::function<QFuture<void>(MacWorkspace &)>;

void addRequests()
{
    QTest::addColumn<Request>("request");
    QTest::addColumn<QString>("call");
    QTest::newRow("launch") << Request([](MacWorkspace &workspace) {
        return workspace.launch(u"/Applications/Äpfel.app"_s);
    }) << u"launch /Applications/Äpfel.app (folder), in front"_s;
    QTest::newRow("open") << Request([](MacWorkspace &workspace) {
        return workspace.open(QUrl(u"https://example.org/a?b=ä|c"_s));
    }) << u"open https://example.org/a?b=%C3%A4%7Cc, in front"_s;
    QTest::newRow("open with") << Request([](MacWorkspace &workspace) {
        return workspace.open(QUrl(u"https://example.org/"_s), u"/Applications/B.app"_s);
    }) << u"open https://example.org/ of 1 with /Applications/B.app (folder), in front"_s;
}
} // namespace

void tst_MacWorkspace::init()
{
    FakeCoreFoundation::attributeValues = [](qint64, const QStringList &, QList<CFTypeRef> &) {
        return kAXErrorFailure;
    };
}

void tst_MacWorkspace::cleanup()
{
    FakeCocoa::reset();
    FakeLibproc::processes.clear();
    qunsetenv("__CFBundleIdentifier");
    m_screen.shown.clear();
    QCOMPARE(FakeCoreFoundation::livingObjects(), 0);
}

void tst_MacWorkspace::requestsFinishOnTheMainThread_data()
{
    addRequests();
}

void tst_MacWorkspace::requestsFinishOnTheMainThread()
{
    const MainLoop loop;
    QFETCH(const Request, request);
    QFuture<void> future = request(m_workspace);
    QVERIFY(!future.isFinished());
    QThread *thread = nullptr;
    future.then([&thread] { thread = QThread::currentThread(); });
    QTRY_VERIFY(thread);
    QCOMPARE(thread, QCoreApplication::instance()->thread());
    QTEST(FakeCocoa::calls.value(0), "call");
}

void tst_MacWorkspace::aFailureHasTheSystemsSentence_data()
{
    addRequests();
}

void tst_MacWorkspace::aFailureHasTheSystemsSentence()
{
    const MainLoop loop;
    QFETCH(const Request, request);
    FakeCocoa::failure = u"The application “Äpfel” can’t be opened. 😀"_s;
    QFuture<void> future = request(m_workspace);
    QTRY_VERIFY(future.isFinished());
    try {
        future.waitForFinished();
        QFAIL("It succeeded.");
    } catch (const PlatformError &error) {
        QCOMPARE(QString::fromUtf8(error.what()), *FakeCocoa::failure);
    }
}

void tst_MacWorkspace::requestsMayOutliveTheWorkspace()
{
    const MainLoop loop;
    QFuture<void> future;
    {
        MacWorkspace workspace(m_screen);
        future = workspace.launch(u"/Applications/A.app"_s);
    }
    QTRY_VERIFY(future.isFinished());
}

void tst_MacWorkspace::runningApplicationsAreDescribed()
{
    FakeCocoa::running = {{.pid = 7, .name = u"Safari"_s, .path = u"/Applications/Safari.app"_s},
                          {.pid = 8, .policy = 2}};
    const QList<Application> expected{
        {.pid = ProcessId{7}, .name = u"Safari"_s, .location = u"/Applications/Safari.app"_s},
        {.pid = ProcessId{8}, .policy = ActivationPolicy::background}};
    QCOMPARE(m_workspace.runningApplications(), expected);
}

void tst_MacWorkspace::theWorkspaceIsUsedOnlyWhileTheLoopOfAppKitRuns()
{
    FakeCocoa::front = 7;
    m_screen.shown = {{.layer = 0, .owner = ProcessId{8}, .ownerName = {}, .title = {}}};
    QCOMPARE(m_workspace.focusedProcess(), ProcessId{8});
    FakeCocoa::makeApplication(false);
    QCOMPARE(m_workspace.focusedProcess(), ProcessId{8});
    FakeCocoa::makeApplication(true);
    QCOMPARE(m_workspace.focusedProcess(), ProcessId{7});
    FakeCocoa::front.reset();
    QCOMPARE(m_workspace.focusedProcess(), ProcessId{8});
}

void tst_MacWorkspace::theApplicationInFrontIsDescribed()
{
    QCOMPARE(m_workspace.frontmostApplication(), std::nullopt);
    m_screen.shown = {{.layer = 0, .owner = ProcessId{8}, .ownerName = {}, .title = {}}};
    // Not every process with a window is an application.
    QCOMPARE(m_workspace.frontmostApplication()->pid, ProcessId{8});
    FakeCocoa::running = {{.pid = 8, .name = u"Notes"_s}};
    QCOMPARE(m_workspace.frontmostApplication()->name, u"Notes"_s);
}

namespace {
const ProcessId self{getpid()};

// Each look is the first one of its workspace, which would remember it for a moment.
std::set<ProcessId> ours()
{
    OneWindow screen;
    return MacWorkspace(screen).ownProcesses();
}

FakeLibproc::Process process(const QByteArray &path, uint32_t parent = 1, uint32_t terminal = 0)
{
    return {
        .told = {.pbi_pid = 0, .pbi_ppid = parent, .pbi_pgid = 0, .e_tdev = terminal, .e_tpgid = 0},
        .path = path};
}
} // namespace

void tst_MacWorkspace::otherInstancesAreOurs()
{
    FakeLibproc::processes = {
        {getpid(), process("/Applications/Quillon.app/Contents/MacOS/Quillon")},
        {5, process("/build/Quillon")},
        {6, process("/Applications/Copy.app/Contents/MacOS/Other")},
        {7, process("/Applications/Notes.app/Contents/MacOS/Notes")}};
    FakeCocoa::running = {{.pid = 6, .bundle = u"app.quillon"_s}, {.pid = 7, .bundle = u"notes"_s}};
    QCOMPARE(ours(), (std::set<ProcessId>{ProcessId{5}, self}));
    FakeCocoa::ownBundle = u"app.quillon"_s;
    QCOMPARE(ours(), (std::set<ProcessId>{ProcessId{5}, ProcessId{6}, self}));
}

void tst_MacWorkspace::theTerminalOfATaskIsOurs()
{
    FakeCocoa::running = {{.pid = 20, .bundle = u"terminal"_s}, {.pid = 30, .bundle = u"other"_s}};
    FakeLibproc::processes = {{getpid(), process("/build/Quillon", 21, 3)},
                              {20, process("/Applications/Terminal.app/Contents/MacOS/Terminal")},
                              {21, process("/bin/zsh", 20, 3)}};
    QCOMPARE(ours(), (std::set<ProcessId>{ProcessId{20}, ProcessId{21}, self}));

    // Its shells may be children of a server that is not.
    FakeLibproc::processes[21] = process("/bin/zsh", 22, 3);
    FakeLibproc::processes[22] = process("/Applications/Terminal.app/Contents/MacOS/Server");
    const std::set<ProcessId> ancestors{ProcessId{21}, ProcessId{22}, self};
    QCOMPARE(ours(), ancestors);
    qputenv("__CFBundleIdentifier", "terminal");
    std::set<ProcessId> withApplication = ancestors;
    withApplication.insert(ProcessId{20});
    QCOMPARE(ours(), withApplication);

    // The panel outlives the terminal in which it was started.
    FakeLibproc::processes[getpid()] = process("/build/Quillon");
    QCOMPARE(ours(), std::set<ProcessId>{self});
}

void tst_MacWorkspace::weAreNeverInFront()
{
    MacWorkspace workspace(m_screen);
    const auto window = [](ProcessId owner) {
        return WindowInfo{.layer = 0, .owner = owner, .ownerName = {}, .title = {}};
    };
    FakeLibproc::processes = {{getpid(), process("/build/Quillon", 21, 3)},
                              {5, process("/Applications/Quillon.app/Contents/MacOS/Quillon")},
                              {20, process("/Applications/Terminal.app/Contents/MacOS/Terminal")},
                              {21, process("/bin/zsh", 20, 3)}};
    FakeCocoa::running = {{.pid = 5}, {.pid = 20}, {.pid = 8, .name = u"Notes"_s}};
    m_screen.shown = {window(ProcessId{5}), window(ProcessId{20}), window(self)};
    QCOMPARE(workspace.focusedProcess(), ProcessId{5});
    QCOMPARE(workspace.frontmostApplication(), std::nullopt);
    m_screen.shown.append(window(ProcessId{8}));
    QCOMPARE(workspace.frontmostApplication()->name, u"Notes"_s);
}

void tst_MacWorkspace::anApplicationIsBroughtToTheFront()
{
    FakeCocoa::makeApplication(true);
    FakeCocoa::running = {{.pid = 7}};
    m_workspace.activate(ProcessId{7});
    QCOMPARE(FakeCocoa::calls, (QStringList{u"yield to 7"_s, u"activate process 7"_s}));
    m_workspace.activate(ProcessId{8}); // has ended
    QCOMPARE(FakeCocoa::calls.size(), 2);
}

void tst_MacWorkspace::terminatesAnApplication()
{
    FakeCocoa::running = {{.pid = 7}};
    m_workspace.terminate(ProcessId{7});
    m_workspace.terminate(ProcessId{8});
    QCOMPARE(FakeCocoa::calls, QStringList{u"terminate 7"_s});
    QVERIFY(!m_workspace.hasTerminated(ProcessId{7}));
    QVERIFY(m_workspace.hasTerminated(ProcessId{8}));
    FakeCocoa::running[0].isTerminated = true;
    QVERIFY(m_workspace.hasTerminated(ProcessId{7}));
}

void tst_MacWorkspace::itemsAreRevealedAndTrashed()
{
    m_workspace.reveal("/a/b c");
    m_workspace.trash("/a/d");
    QCOMPARE(FakeCocoa::calls,
             (QStringList{u"reveal /a/b c (file) of 1"_s, u"trash /a/d (file)"_s}));
    FakeCocoa::failure = u"“d” couldn’t be moved to the Trash."_s;
    try {
        m_workspace.trash("/a/d");
        QFAIL("It was trashed.");
    } catch (const PlatformError &error) {
        QCOMPARE(QString::fromUtf8(error.what()), *FakeCocoa::failure);
    }
}

QTEST_GUILESS_MAIN(tst_MacWorkspace)
#include "tests/support/Waiting.h"
#include "tst_MacWorkspace.moc"
