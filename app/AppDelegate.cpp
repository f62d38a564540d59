#include "app/AppDelegate.h"

#include "app/HotKey.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QTimer>

#include <algorithm>

void AppDelegate::applicationDidFinishLaunching()
{
    Shell &shell = Platform::current().shell();
    shell.setRegularPolicy();
    HotKey::shared().registerKey();
    shell.activate();
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    if (!hasVisibleWindows)
        // A click in the Dock also brings the hidden application forward with its panel, perhaps by
        // then already; it must not be hidden again.
        QTimer::singleShot(0, this, &HotKey::show);
    return true;
}

void AppDelegate::applicationWasStartedAgain()
{
    Shell &shell = Platform::current().shell();
    const bool hasVisibleWindows = std::ranges::any_of(
        shell.windows(), [&shell](NativeWindow *window) { return shell.isVisible(*window); });
    // Only then: a hidden application would come forward with its panel, and the summon would find
    // that in front and hide it again.
    if (hasVisibleWindows)
        shell.activate();
    applicationShouldHandleReopen(hasVisibleWindows);
}
