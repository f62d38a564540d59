#include "platform/linux/screenshot/LinuxScreen.h"

#include "platform/linux/screenshot/ScreenCapture.h"
#include "platform/linux/screenshot/ScreenPortal.h"
#include "platform/linux/x11/X11Desktop.h"

namespace {
// Docks, menus and palettes lie above the ordinary windows' layer.
constexpr int extraLayer = 1;
} // namespace

std::optional<QList<WindowInfo>> LinuxScreen::windows()
{
    const std::optional<X11Snapshot> snapshot = m_desktop.snapshot();
    if (!snapshot)
        return std::nullopt;
    QList<WindowInfo> shown;
    for (const X11Window &window : snapshot->windows) {
        // What runs as a process that we know is told apart by that.
        if (!window.onScreen || window.kind == X11Window::Kind::desktop || window.isOurs({}))
            continue;
        shown.append({.layer = window.kind == X11Window::Kind::ordinary ? 0 : extraLayer,
                      .owner = window.owner,
                      .ownerName = ownerOf(window).name,
                      .title = window.title});
    }
    return shown;
}

QFuture<void> LinuxScreen::capture(const std::filesystem::path &file)
{
    // Under Wayland the X server that may be there as well shows nothing of the screen.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return ScreenPortal::capture(file);
    return ScreenCapture::capture(file);
}
