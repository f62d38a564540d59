#include "platform/macos/MacScreen.h"

#include "base/Futures.h"
#include "platform/macos/CFOwner.h"
#include "platform/macos/CFText.h"
#include "platform/macos/CaptureTool.h"

#include <CoreGraphics/CoreGraphics.h>

using namespace Qt::StringLiterals;

namespace {
// The value is owned by the dictionary.
CFTypeRef value(CFDictionaryRef description, CFStringRef key, CFTypeID type)
{
    const CFTypeRef found = CFDictionaryGetValue(description, key);
    return found && CFGetTypeID(found) == type ? found : nullptr;
}

std::optional<qint64> number(CFDictionaryRef description, CFStringRef key)
{
    const CFTypeRef found = value(description, key, CFNumberGetTypeID());
    qint64 result = 0;
    if (!found || !CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberSInt64Type, &result))
        return std::nullopt;
    return result;
}

WindowInfo windowInfo(CFDictionaryRef description)
{
    WindowInfo window;
    if (const std::optional<qint64> layer = number(description, kCGWindowLayer))
        window.layer = static_cast<int>(*layer);
    if (const std::optional<qint64> owner = number(description, kCGWindowOwnerPID))
        window.owner = ProcessId{*owner};
    window.ownerName = textOf(CFDictionaryGetValue(description, kCGWindowOwnerName));
    window.title = textOf(CFDictionaryGetValue(description, kCGWindowName));
    return window;
}
} // namespace

std::optional<QList<WindowInfo>> MacScreen::windows()
{
    const CFOwner<CFArrayRef> list(CGWindowListCopyWindowInfo(
        kCGWindowListOptionOnScreenOnly | kCGWindowListExcludeDesktopElements, kCGNullWindowID));
    if (!list)
        return std::nullopt;
    QList<WindowInfo> windows;
    const CFIndex count = CFArrayGetCount(list.get());
    for (CFIndex i = 0; i < count; ++i) {
        const CFTypeRef description = CFArrayGetValueAtIndex(list.get(), i);
        if (description && CFGetTypeID(description) == CFDictionaryGetTypeID())
            windows.append(windowInfo(static_cast<CFDictionaryRef>(description)));
    }
    return windows;
}

QFuture<void> MacScreen::capture(const std::filesystem::path &file)
{
    // Without the permission, the tool may write a file that shows the wallpaper without windows.
    if (!CGPreflightScreenCaptureAccess() && !CGRequestScreenCaptureAccess())
        return Futures::done();
    return CaptureTool::run(u"/usr/sbin/screencapture"_s, file);
}
