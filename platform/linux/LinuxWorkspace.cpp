#include "platform/linux/LinuxWorkspace.h"

#include "platform/Outcome.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/desktop/FileManager.h"
#include "platform/linux/desktop/LinuxProcesses.h"
#include "platform/linux/desktop/Trash.h"
#include "platform/linux/x11/Display.h"
#include "platform/linux/x11/WindowOwner.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QFile>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
QByteArray uriOf(const std::filesystem::path &path)
{
    return "file://" + QByteArray::fromStdString(path.native()).toPercentEncoding("/");
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
        if (!window->owner || isOurs(*window, ours))
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
    // Starting it again would open one more window, where people mean the one that they have.
    if (const std::optional<X11WindowId> window = windowOf(location)) {
        m_desktop.activate(*window);
        return settled(std::nullopt);
    }
    return settled(DesktopEntries::start(location));
}

QFuture<void> LinuxWorkspace::open(const QUrl &url)
{
    return settled(DesktopEntries::open(url.toEncoded()));
}

QFuture<void> LinuxWorkspace::open(const QUrl &url, const QString &location)
{
    const std::optional<X11WindowId> window = windowOf(location);
    const std::optional<QString> failure = DesktopEntries::start(location, url.toEncoded());
    if (window && !failure)
        m_desktop.activate(*window);
    return settled(failure);
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
    QFile status(u"/proc/%1/stat"_s.arg(static_cast<qint64>(application)));
    if (!status.open(QIODevice::ReadOnly))
        return true;
    // "1234 (name) S …"; the name may hold anything. A zombie only waits to be looked at.
    const QByteArray line = status.readAll();
    const char state = line.mid(line.lastIndexOf(')') + 2, 1).append('X').front();
    return state == 'Z' || state == 'X';
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

std::optional<X11WindowId> LinuxWorkspace::windowOf(const QString &location)
{
    const X11Snapshot snapshot = m_desktop.snapshot().value_or(X11Snapshot());
    const std::set<ProcessId> ours = ownProcesses();
    for (const X11Window &window : snapshot.windows) {
        if (window.isOrdinary() && !isOurs(window, ours) && ownerOf(window).location == location)
            return window.id;
    }
    return std::nullopt;
}
