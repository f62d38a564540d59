#include "platform/linux/Capabilities.h"

#include "base/Futures.h"
#include "base/WorkQueue.h"
#include "platform/PlatformError.h"
#include "platform/Workspace.h"
#include "platform/linux/atspi/BrowserPages.h"
#include "platform/linux/desktop/ChromiumProgram.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/desktop/FileManager.h"
#include "platform/linux/desktop/LinuxProcesses.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QPromise>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
QByteArray uriOf(const std::filesystem::path &path)
{
    return "file://" + QByteArray::fromStdString(path.native()).toPercentEncoding("/");
}

bool leads(ProcessId leader, const X11Window &window)
{
    return leader != ProcessId{} && window.process &&
           LinuxProcesses().session(*window.process) == leader;
}

// The application's topmost window, if it has any. Some windows can only be assigned to the entry
// by the session of the started process.
std::optional<X11WindowId> windowOf(const X11Snapshot &snapshot, const QString &location,
                                    ProcessId leader, const std::set<ProcessId> &ours)
{
    for (const bool onScreen : {true, false}) {
        for (const X11Window &window : snapshot.windows) {
            if (window.isOrdinary() && window.onScreen == onScreen && !window.isOurs(ours) &&
                (applicationOf(window).location == location || leads(leader, window)))
                return window.id;
        }
    }
    return std::nullopt;
}

std::optional<ProcessId> processIn(const X11Snapshot &snapshot, X11WindowId window)
{
    const auto found = std::ranges::find(snapshot.windows, window, &X11Window::id);
    return found == snapshot.windows.end() ? std::nullopt : found->process;
}

// The pages that a browser shows before it opens another one; nothing if they are unknown.
std::optional<BrowserPages> pagesOf(ProcessId browser)
{
    // A browser answers in about ten milliseconds unless it is busy.
    constexpr std::chrono::milliseconds limit{300};
    WorkQueue queue("browser pages");
    return queue
        .call([=] { return BrowserPages::of(browser, std::chrono::steady_clock::now() + limit); },
              limit)
        .value_or(std::nullopt);
}

bool isWebAddress(const QByteArray &uri)
{
    return uri.startsWith("http:") || uri.startsWith("https:");
}

// The list by age may be older than the other one: windows that it lacks are the newest.
QList<const X11Window *> inOrderOfAge(const X11Snapshot &snapshot)
{
    QList<const X11Window *> windows;
    for (const X11Window &window : snapshot.windows)
        windows.append(&window);
    std::ranges::sort(windows, {}, [&](const X11Window *window) {
        const qsizetype age = snapshot.clients.indexOf(window->id);
        return std::pair(age < 0 ? snapshot.clients.size() : age, window->id);
    });
    return windows;
}

Application application(const X11Window &window)
{
    const WindowApplication known = applicationOf(window);
    return {.pid = window.process.value_or(ProcessId{}),
            .name = known.name,
            .policy = window.isOrdinary() ? ActivationPolicy::regular : ActivationPolicy::accessory,
            .location = known.location};
}

constexpr std::chrono::milliseconds lookInterval{40};
// Window managers activate most new windows themselves, a moment after they appear.
constexpr std::chrono::milliseconds requestInterval{300};
// A browser answers in about ten milliseconds unless it is busy with the page.
constexpr std::chrono::milliseconds pageLookInterval{120};
constexpr std::chrono::milliseconds pageLookLimit{150};

// Waits until an application that was requested to open something is in front, so that the next
// keys go to it and not to the earlier window. Activates a new window that stays behind others. A
// browser also has to show the page, as far as it tells.
// Main thread; deletes itself when the wait is over.
class WindowArrival final : public QObject
{
public:
    /// How long an office suite takes to start on a slow machine.
    static constexpr std::chrono::milliseconds usualLimit{10'000};
    /// How long a running application may take to show what it opens, in a new window or with a new
    /// title. If it does neither, it is assumed to show it.
    static constexpr std::chrono::milliseconds documentLimit{1500};
    /// How long a program may take to send the document to its running instance.
    static constexpr std::chrono::milliseconds handOverLimit{6000};
    /// How long a window with a document must have been in front: it drops keys while it loads the
    /// document.
    static constexpr std::chrono::milliseconds documentSettle{700};
    /// How long a browser may take to show a page, after it has received the address or has come to
    /// the front. Downloads show no page, and some pages never finish.
    static constexpr std::chrono::milliseconds pageLimit{6000};

    struct Expected
    {
        QString location; ///< The application's desktop entry.
        QString name;
        X11Snapshot before;         ///< The windows before the request.
        std::set<ProcessId> ours{}; ///< The assistant's own processes, whose windows are ignored.
        ProcessId leader{}; ///< The session leader of what was started for this; 0 for nothing.
        bool opensDocument = false;                ///< Existing windows do not count at once.
        bool opensPage = false;                    ///< A browser opens a page.
        std::optional<BrowserPages> pagesBefore{}; ///< What it showed before, if it tells.
        std::function<void()> arrived = [] {};     ///< Called when the application is in front.
    };

    /// Carries a PlatformError if nothing came to the front within the limit. The desktop and the
    /// parent must outlive it.
    [[nodiscard]] static QFuture<void> wait(X11Desktop &desktop, const Expected &expected,
                                            QObject *parent);

private:
    WindowArrival(X11Desktop &desktop, Expected expected, QObject *parent);

    void look();
    [[nodiscard]] QString failure(const X11Snapshot &now) const;
    [[nodiscard]] const X11Window *before(const X11Window &window) const;
    [[nodiscard]] bool isNew(const X11Window &window) const { return !before(window); }
    [[nodiscard]] bool belongs(const X11Window &window) const;
    [[nodiscard]] bool hasWhatWasAskedFor(const X11Window &window) const;
    [[nodiscard]] bool hasSettled(const X11Window &window);
    [[nodiscard]] bool showsNewPage() const;
    void lookAtPages(const X11Window &window);
    void bringForward(const X11Snapshot &now);

    X11Desktop &m_desktop;
    const Expected m_expected;
    QPromise<void> m_promise;
    QTimer m_timer;
    QDeadlineTimer m_limit{usualLimit};
    QDeadlineTimer m_handOverLimit{handOverLimit};
    QDeadlineTimer m_documentLimit{documentLimit};
    QDeadlineTimer m_settled{documentSettle};
    std::optional<X11WindowId> m_settling;
    QDeadlineTimer m_nextRequest;
    bool m_hasWindow = false;
    WorkQueue m_queue{"browser pages"};
    std::optional<BrowserPages> m_pages; ///< What the browser tells now.
    QDeadlineTimer m_pageLimit{pageLimit};
    QDeadlineTimer m_nextPageLook{0};
};

QFuture<void> WindowArrival::wait(X11Desktop &desktop, const Expected &expected, QObject *parent)
{
    auto *const arrival = new WindowArrival(desktop, expected, parent);
    QFuture<void> future = arrival->m_promise.future();
    arrival->look();
    return future;
}

WindowArrival::WindowArrival(X11Desktop &desktop, Expected expected, QObject *parent)
    : QObject(parent)
    , m_desktop(desktop)
    , m_expected(std::move(expected))
    , m_nextRequest(requestInterval)
{
    m_promise.start();
    connect(&m_timer, &QTimer::timeout, this, &WindowArrival::look);
    m_timer.start(lookInterval);
}

void WindowArrival::look()
{
    const X11Snapshot now = m_desktop.snapshot().value_or(X11Snapshot());
    if (!m_handOverLimit.hasExpired() && !LinuxProcesses().hasEnded(m_expected.leader)) {
        m_documentLimit.setRemainingTime(documentLimit);
        m_pageLimit.setRemainingTime(pageLimit);
    }
    if (m_expected.opensPage && now.active && belongs(*now.active))
        lookAtPages(*now.active);
    const bool isThere = now.active && hasWhatWasAskedFor(*now.active);
    if (!isThere || (!hasSettled(*now.active) && !m_limit.hasExpired())) {
        bringForward(now);
        if (!m_limit.hasExpired())
            return;
    }
    if (isThere)
        m_expected.arrived();
    m_timer.stop();
    if (isThere)
        m_promise.finish();
    else
        Futures::fail(m_promise, PlatformError(failure(now)));
    deleteLater();
}

QString WindowArrival::failure(const X11Snapshot &now) const
{
    QString what = u"hasn't shown a window yet. It may still be starting."_s;
    if (now.active && belongs(*now.active))
        what = u"hasn't shown it yet."_s;
    else if (m_hasWindow)
        what = u"didn't come to the front."_s;
    return u'“' + m_expected.name + u"” "_s + what;
}

// The same window before the request. The X server reuses the id of a closed window at once, so the
// id alone does not identify it.
const X11Window *WindowArrival::before(const X11Window &window) const
{
    const auto found = std::ranges::find_if(m_expected.before.windows, [&](const X11Window &each) {
        return each.id == window.id && each.process == window.process &&
               each.className == window.className;
    });
    return found == m_expected.before.windows.end() ? nullptr : &*found;
}

bool WindowArrival::belongs(const X11Window &window) const
{
    if (window.kind != X11Window::Kind::ordinary || window.isOurs(m_expected.ours))
        return false;
    const std::optional<QString> location = applicationOf(window).location;
    if (location == m_expected.location || leads(m_expected.leader, window))
        return true;
    // Not every window can be assigned to what was started, but most others to another entry.
    return isNew(window) && !(location && DesktopEntries::isEntry(*location));
}

bool WindowArrival::hasWhatWasAskedFor(const X11Window &window) const
{
    if (!belongs(window))
        return false;
    const X11Window *const old = before(window);
    return !m_expected.opensDocument || !old || old->title != window.title || showsNewPage() ||
           (m_expected.opensPage ? m_pageLimit : m_documentLimit).hasExpired();
}

// Whether the page in front is not one of those before the request.
bool WindowArrival::showsNewPage() const
{
    return m_expected.pagesBefore && m_pages && m_pages->loaded &&
           !m_expected.pagesBefore->shown.contains(*m_pages->loaded);
}

bool WindowArrival::hasSettled(const X11Window &window)
{
    if (!m_expected.opensDocument)
        return true;
    if (isNew(window) && m_settling != window.id) {
        m_settling = window.id;
        m_settled.setRemainingTime(documentSettle);
        m_pageLimit.setRemainingTime(pageLimit);
    }
    if (!m_pages)
        return !isNew(window) || m_settled.hasExpired();
    const bool isLoaded = m_expected.pagesBefore ? showsNewPage() : m_pages->loaded.has_value();
    return isLoaded || m_pageLimit.hasExpired();
}

void WindowArrival::lookAtPages(const X11Window &window)
{
    if (!m_nextPageLook.hasExpired() || !window.process)
        return;
    m_nextPageLook.setRemainingTime(pageLookInterval);
    const auto look = [browser = *window.process] {
        return BrowserPages::of(browser, std::chrono::steady_clock::now() + pageLookLimit);
    };
    // Without an answer, the browser is busy, and its last answer is used.
    if (auto pages = m_queue.call(look, pageLookLimit))
        m_pages = std::move(*pages);
}

// Activates the topmost of its windows; an earlier one only after waiting for a new one.
void WindowArrival::bringForward(const X11Snapshot &now)
{
    for (const X11Window &window : now.windows) {
        if (!belongs(window))
            continue;
        m_hasWindow = true;
        const bool isAsked =
            !m_expected.opensDocument || isNew(window) || m_documentLimit.hasExpired();
        if (!isAsked || !m_nextRequest.hasExpired())
            continue;
        m_desktop.activate(window.id);
        m_nextRequest.setRemainingTime(requestInterval);
        return;
    }
}

// The workspace of an X desktop: windows by EWMH, applications by their desktop entries. The
// desktop must outlive it.
class LinuxWorkspace final : public Workspace
{
public:
    explicit LinuxWorkspace(X11Desktop &desktop) : m_desktop(desktop) {}

    /// Waits, with a timeout, until items are revealed.
    ~LinuxWorkspace() override;

    std::optional<Application> frontmostApplication() override;
    std::optional<ProcessId> focusedProcess() override;
    std::set<ProcessId> ownProcesses() override;
    void activate(ProcessId application) override;
    QList<Application> runningApplications() override;
    QStringList applicationFolders() override;
    QList<InstalledApplication> applicationsIn(const QString &folder) override;
    QString displayName(const QString &location) override;
    std::optional<QString> counterpart(const QString &name) override;
    QFuture<void> launch(const QString &location) override;
    QFuture<void> open(const QUrl &url) override;
    QFuture<void> open(const QUrl &url, const QString &location) override;
    void terminate(ProcessId application) override;
    bool hasTerminated(ProcessId application) override;
    void reveal(const std::filesystem::path &item) override;
    void trash(const std::filesystem::path &item) override;

private:
    /// Starts the application or makes it open that address, and waits until it is in front.
    [[nodiscard]] QFuture<void> openIn(const QString &location, const QByteArray &uri,
                                       const std::function<ProcessId()> &start);

    struct Start
    {
        ProcessId leader{};      ///< The session leader of the started process; 0 if it has ended.
        bool hasArrived = false; ///< A window of it has been in front since.
    };

    X11Desktop &m_desktop;
    std::map<QString, Start> m_starts; ///< The last start of each application, by location.
    QObject m_arrivals;                ///< The parent of the pending waits.
};
} // namespace

LinuxWorkspace::~LinuxWorkspace()
{
    FileManager::finish();
}

std::optional<Application> LinuxWorkspace::frontmostApplication()
{
    const std::optional<X11Window> window = m_desktop.front(ownProcesses());
    if (!window)
        return std::nullopt;
    Application front = application(*window);
    if (front.location)
        front.name = DesktopEntries::nameInFront(*front.location);
    return front;
}

std::set<ProcessId> LinuxWorkspace::ownProcesses()
{
    return ourProcesses();
}

std::optional<ProcessId> LinuxWorkspace::focusedProcess()
{
    return m_desktop.activeProcess();
}

void LinuxWorkspace::activate(ProcessId application)
{
    const X11Snapshot snapshot = m_desktop.snapshot().value_or(X11Snapshot());
    const auto window = std::ranges::find_if(snapshot.windows, [&](const X11Window &each) {
        return each.process.value_or(ProcessId{}) == application && each.onScreen &&
               each.isOrdinary();
    });
    if (window != snapshot.windows.end())
        m_desktop.activate(window->id);
}

QList<Application> LinuxWorkspace::runningApplications()
{
    const X11Snapshot snapshot = m_desktop.snapshot().value_or(X11Snapshot());
    const std::set<ProcessId> ours = ownProcesses();
    QList<Application> applications;
    for (const X11Window *const window : inOrderOfAge(snapshot)) {
        if (!window->process || window->isOurs(ours))
            continue;
        const Application found = application(*window);
        const auto known = std::ranges::find(applications, found.pid, &Application::pid);
        if (known == applications.end())
            applications.append(found);
        else if (window->isOrdinary())
            known->policy = ActivationPolicy::regular;
    }
    return applications;
}

QStringList LinuxWorkspace::applicationFolders()
{
    return ApplicationFolders::all();
}

QList<InstalledApplication> LinuxWorkspace::applicationsIn(const QString &folder)
{
    return DesktopEntries::in(folder);
}

QString LinuxWorkspace::displayName(const QString &location)
{
    return DesktopEntries::name(location);
}

std::optional<QString> LinuxWorkspace::counterpart(const QString &name)
{
    if (std::optional<QString> messenger = DesktopEntries::namedInFront(name))
        return messenger;
    const QStringList locations = DesktopEntries::counterparts(name);
    if (locations.isEmpty())
        return std::nullopt;
    // Users mean the running one.
    const QList<Application> running = runningApplications();
    const auto runs = [&](const QString &location) {
        return std::ranges::find(running, location, &Application::location) != running.end();
    };
    const auto found = std::ranges::find_if(locations, runs);
    return found == locations.end() ? locations.constFirst() : *found;
}

QFuture<void> LinuxWorkspace::launch(const QString &location)
{
    return openIn(location, {}, [&] { return DesktopEntries::start(location); });
}

QFuture<void> LinuxWorkspace::open(const QUrl &url)
{
    const QByteArray uri = url.toEncoded();
    const std::optional<QString> location = DesktopEntries::defaultFor(uri);
    const auto start = [&] { return DesktopEntries::open(uri); };
    if (location)
        return openIn(*location, uri, start);
    try {
        start();
        return Futures::done();
    } catch (const PlatformError &error) {
        return Futures::failed(error);
    }
}

QFuture<void> LinuxWorkspace::open(const QUrl &url, const QString &location)
{
    const QByteArray uri = url.toEncoded();
    return openIn(location, uri, [&] { return DesktopEntries::start(location, uri); });
}

void LinuxWorkspace::terminate(ProcessId application)
{
    QList<X11WindowId> windows;
    const X11Snapshot snapshot = m_desktop.snapshot().value_or(X11Snapshot());
    for (const X11Window &window : snapshot.windows) {
        if (window.process == application && window.kind != X11Window::Kind::desktop)
            windows.append(window.id);
    }
    if (!windows.isEmpty())
        m_desktop.close(windows);
}

bool LinuxWorkspace::hasTerminated(ProcessId application)
{
    return LinuxProcesses().hasEnded(application);
}

void LinuxWorkspace::reveal(const std::filesystem::path &item)
{
    // Without a display, a file manager could not start.
    if (hasWindowSystem())
        FileManager::show(uriOf(item));
}

void LinuxWorkspace::trash(const std::filesystem::path &item)
{
    FileManager::trash(item);
}

QFuture<void> LinuxWorkspace::openIn(const QString &location, const QByteArray &uri,
                                     const std::function<ProcessId()> &start)
{
    Start &last = m_starts[location];
    if (hasTerminated(last.leader))
        last = {};
    WindowArrival::Expected expected{
        .location = location,
        .name = DesktopEntries::name(location),
        .before = m_desktop.snapshot().value_or(X11Snapshot()),
        .ours = ownProcesses(),
        .leader = last.leader,
        .opensDocument = !uri.isEmpty(),
        .arrived = [this, location] { m_starts[location].hasArrived = true; }};
    const std::optional<X11WindowId> window =
        windowOf(expected.before, location, last.leader, expected.ours);
    if (isWebAddress(uri) && DesktopEntries::isBrowser(location)) {
        const ProcessId browser =
            window ? processIn(expected.before, *window).value_or(ProcessId{}) : ProcessId{};
        // Without accessibility, its pages are unknown.
        expected.opensPage = !ChromiumProgram::isClosed(browser);
        if (browser != ProcessId{} && expected.opensPage)
            expected.pagesBefore = pagesOf(browser);
    }
    const bool isStarting = last.leader != ProcessId{} && !last.hasArrived;
    // Starting it again would open another window, but users mean the existing one, or the one that
    // is about to open.
    if (uri.isEmpty() && window) {
        m_desktop.activate(*window);
    } else if (!uri.isEmpty() || !isStarting) {
        try {
            const ProcessId leader = start();
            // A running instance may have taken over the address.
            if (!window)
                last = {.leader = leader};
        } catch (const PlatformError &error) {
            return Futures::failed(error);
        }
        expected.leader = last.leader;
    }
    return WindowArrival::wait(m_desktop, expected, &m_arrivals);
}

std::unique_ptr<Workspace> makeLinuxWorkspace(X11Desktop &desktop)
{
    return std::make_unique<LinuxWorkspace>(desktop);
}
