#include "platform/FrontApplication.h"

#include "platform/Screen.h"

#include <QCoreApplication>

#include <algorithm>

std::optional<Application> frontApplication(const std::optional<Application> &focused,
                                            Workspace &workspace, Screen &screen)
{
    const ProcessId ours{QCoreApplication::applicationPid()};
    if (!focused || focused->pid != ours)
        return focused;
    const QList<WindowInfo> windows = screen.windows().value_or(QList<WindowInfo>());
    const auto next = std::ranges::find_if(windows, [&](const WindowInfo &window) {
        return window.layer == 0 && window.owner && window.owner != ours;
    });
    if (next == windows.end())
        return std::nullopt;
    const QList<Application> running = workspace.runningApplications();
    const auto owner = std::ranges::find(running, *next->owner, &Application::pid);
    if (owner != running.end())
        return *owner;
    return Application{.pid = *next->owner, .name = next->ownerName};
}
