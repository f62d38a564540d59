#include "platform/macos/FrontApplication.h"

#include "platform/Screen.h"

#include <algorithm>

std::optional<Application> frontApplication(const std::optional<Application> &focused,
                                            Workspace &workspace, Screen &screen)
{
    const std::set<ProcessId> ours = workspace.ownProcesses();
    if (!focused || !ours.contains(focused->pid))
        return focused;
    const QList<WindowInfo> windows = screen.windows().value_or(QList<WindowInfo>());
    const auto next = std::ranges::find_if(windows, [&](const WindowInfo &window) {
        return window.layer == 0 && window.owner && !ours.contains(*window.owner);
    });
    if (next == windows.end())
        return std::nullopt;
    const QList<Application> running = workspace.runningApplications();
    const auto owner = std::ranges::find(running, *next->owner, &Application::pid);
    if (owner != running.end())
        return *owner;
    return Application{.pid = *next->owner, .name = next->ownerName};
}
