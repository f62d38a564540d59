#include "app/WindowStyler.h"

#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QCoreApplication>
#include <QTimer>

void WindowStyler::make(NativeWindow &window)
{
    QTimer::singleShot(0, QCoreApplication::instance(), [&window] {
        Shell &shell = Platform::current().shell();
        if (shell.window() == &window)
            shell.style(window);
    });
}
