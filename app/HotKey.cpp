#include "app/HotKey.h"

#include "platform/GlobalHotKey.h"
#include "platform/NativeWindow.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

namespace {
bool hasVisibleKeyWindow(Shell &shell)
{
    NativeWindow *const window = shell.window();
    return window && shell.isKey(*window) && shell.isVisible(*window);
}
} // namespace

HotKey &HotKey::shared()
{
    static HotKey hotKey;
    return hotKey;
}

void HotKey::registerKey()
{
    Platform::current().hotKey().registerKey(&HotKey::summon);
    Q_EMIT keyRegistered();
}

void HotKey::summon()
{
    Shell &shell = Platform::current().shell();
    if (shell.isActive() && hasVisibleKeyWindow(shell)) {
        shell.hide();
        return;
    }
    show();
}

void HotKey::show()
{
    Shell &shell = Platform::current().shell();
    shell.activate();
    NativeWindow *const window = shell.window();
    if (window && window->canBecomeMain()) {
        shell.makeKeyAndOrderFront(*window);
        shell.center(*window);
    }
    Q_EMIT shared().summonPalette();
}
