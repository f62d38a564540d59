#include "app/AppDelegate.h"

#include "app/HotKey.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QTimer>

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
        QTimer::singleShot(0, this, &HotKey::summon);
    return true;
}
