#include "app/HotKey.h"

#include "platform/GlobalHotKey.h"
#include "platform/NativeWindow.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <algorithm>

namespace {
bool hasVisibleKeyWindow(Shell &shell)
{
    const QList<NativeWindow *> &windows = shell.windows();
    const auto key =
        std::ranges::find_if(windows, [&](NativeWindow *window) { return shell.isKey(*window); });
    return key != windows.end() && shell.isVisible(**key);
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
    // A copy: a window that comes to the front may change the list.
    const QList<NativeWindow *> windows = shell.windows();
    for (NativeWindow *const window : windows) {
        if (!window->canBecomeMain())
            continue;
        shell.makeKeyAndOrderFront(*window);
        shell.center(*window);
    }
    Q_EMIT shared().summonPalette();
}
