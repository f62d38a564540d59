#include "platform/linux/LinuxWorkspace.h"

#include "platform/Outcome.h"
#include "platform/linux/WindowArrival.h"
#include "platform/linux/desktop/FileManager.h"
#include "platform/linux/desktop/LinuxProcesses.h"
#include "platform/linux/desktop/ProcessTable.h"
#include "platform/linux/desktop/Trash.h"
#include "platform/linux/x11/X11Desktop.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
QByteArray uriOf(const std::filesystem::path &path)
{
    return "file://" + QByteArray::fromStdString(path.native()).toPercentEncoding("/");
}

bool leads(ProcessId leader, const X11Window &window)
{
    return leader != ProcessId{} && window.owner && ProcessTable::session(*window.owner) == leader;
}

// The application's window that is nearest to the user, if it has any. Some windows can be traced
// back to the entry only by what was started.
std::optional<X11WindowId> windowOf(const X11Snapshot &snapshot, const QString &location,
                                    ProcessId leader, const std::set<ProcessId> &ours)
{
    for (const bool onScreen : {true, false}) {
        for (const X11Window &window : snapshot.windows) {
            if (window.isOrdinary() && window.onScreen == onScreen && !window.isOurs(ours) &&
                (ownerOf(window).location == location || leads(leader, window)))
                return window.id;
        }
    }
    return std::nullopt;
}

// The list by age may lag behind the other one: what it does not have yet is the youngest.
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
    const WindowOwner owner = ownerOf(window);
    return {.pid = window.owner.value_or(ProcessId{}),
            .name = owner.name,
            .policy = window.isOrdinary() ? ActivationPolicy::regular : ActivationPolicy::accessory,
            .location = owner.location};
}
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
    return m_desktop.activeOwner();
}

void LinuxWorkspace::activate(ProcessId application)
{
    const X11Snapshot snapshot = m_desktop.snapshot().value_or(X11Snapshot());
    const auto window = std::ranges::find_if(snapshot.windows, [&](const X11Window &each) {
        return each.owner.value_or(ProcessId{}) == application && each.onScreen &&
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
        if (!window->owner || window->isOurs(ours))
            continue;
        const Application owner = application(*window);
        const auto known = std::ranges::find(applications, owner.pid, &Application::pid);
        if (known == applications.end())
            applications.append(owner);
        else if (window->isOrdinary())
            known->policy = ActivationPolicy::regular;
    }
    return applications;
}

QStringList LinuxWorkspace::applicationFolders()
{
    return DesktopEntries::folders();
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
    // The one that people have before them is the one that they mean.
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
    return location ? openIn(*location, uri, start) : settled(start().failure);
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
        if (window.owner == application && window.kind != X11Window::Kind::desktop)
            windows.append(window.id);
    }
    if (!windows.isEmpty())
        m_desktop.close(windows);
}

bool LinuxWorkspace::hasTerminated(ProcessId application)
{
    return ProcessTable::hasEnded(application);
}

void LinuxWorkspace::reveal(const std::filesystem::path &item)
{
    // A file manager that was started without a display would only die.
    if (hasDisplay())
        FileManager::show(uriOf(item));
}

void LinuxWorkspace::trash(const std::filesystem::path &item)
{
    Trash::put(item);
}

QFuture<void> LinuxWorkspace::openIn(const QString &location, const QByteArray &uri,
                                     const std::function<DesktopEntries::Started()> &start)
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
    const bool isStarting = last.leader != ProcessId{} && !last.hasArrived;
    // Starting it again would open one more window, where people mean the one that they have, or
    // the one that they wait for.
    if (uri.isEmpty() && window) {
        m_desktop.activate(*window);
    } else if (!uri.isEmpty() || !isStarting) {
        const DesktopEntries::Started started = start();
        if (started.failure)
            return settled(started.failure);
        // What runs already may have taken the address over.
        if (!window)
            last = {.leader = started.leader};
        expected.leader = last.leader;
    }
    return WindowArrival::wait(m_desktop, expected, &m_arrivals);
}
