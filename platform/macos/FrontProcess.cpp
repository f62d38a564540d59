#include "platform/macos/FrontProcess.h"

#include "platform/Accessibility.h"
#include "platform/Screen.h"
#include "platform/macos/CFOwner.h"

#include <ApplicationServices/ApplicationServices.h>

#include <algorithm>
#include <chrono>

namespace {
std::optional<ProcessId> focusedApplication()
{
    const CFOwner<AXUIElementRef> everything(AXUIElementCreateSystemWide());
    // Setting it for the system-wide element sets the default of this process.
    (void)AXUIElementSetMessagingTimeout(
        everything.get(), std::chrono::duration<float>(AccessibleTree::silenceLimit).count());
    CFTypeRef found = nullptr;
    const AXError error =
        AXUIElementCopyAttributeValue(everything.get(), kAXFocusedApplicationAttribute, &found);
    const CFOwner<CFTypeRef> owned(found);
    if (error != kAXErrorSuccess || !found || CFGetTypeID(found) != AXUIElementGetTypeID())
        return std::nullopt;
    pid_t process = 0;
    if (AXUIElementGetPid(static_cast<AXUIElementRef>(found), &process) != kAXErrorSuccess ||
        process <= 0)
        return std::nullopt;
    return ProcessId{process};
}

std::optional<ProcessId> ownerOfTopmostWindow(Screen &screen)
{
    const QList<WindowInfo> windows = screen.windows().value_or(QList<WindowInfo>());
    const auto topmost = std::ranges::find_if(
        windows, [](const WindowInfo &window) { return window.layer == 0 && window.owner; });
    return topmost == windows.end() ? std::nullopt : topmost->owner;
}
} // namespace

std::optional<ProcessId> FrontProcess::find(std::optional<ProcessId> told, Screen &screen)
{
    if (const std::optional<ProcessId> focused = focusedApplication())
        return focused;
    return told ? told : ownerOfTopmostWindow(screen);
}
