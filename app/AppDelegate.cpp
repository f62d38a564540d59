#include "app/AppDelegate.h"

#include "app/HotKey.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QTimer>

void AppDelegate::applicationDidFinishLaunching(Start start)
{
    Shell &shell = Platform::current().shell();
    if (Dock *const dock = shell.dock())
        dock->setRegularPolicy();
    HotKey::shared().registerKey();
    if (start == Start::shown)
        shell.activate();
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    if (!hasVisibleWindows)
        // Shows instead of toggles: a click in the Dock also activates the hidden application with
        // its panel, which must not be hidden again.
        QTimer::singleShot(0, this, &HotKey::show);
    return true;
}

void AppDelegate::applicationWasStartedAgain()
{
    Shell &shell = Platform::current().shell();
    const bool hasVisibleWindows = shell.window() && shell.isVisible(*shell.window());
    // A hidden application is activated when its panel is shown.
    if (hasVisibleWindows)
        shell.activate();
    applicationShouldHandleReopen(hasVisibleWindows);
}
