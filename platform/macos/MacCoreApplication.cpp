#include "platform/CoreApplication.h"

#include <QCoreApplication>

namespace {
// Qt's own switch, read when a thread gets its event loop.
constexpr auto coreFoundationLoop = "QT_EVENT_DISPATCHER_CORE_FOUNDATION";
} // namespace

QCoreApplication *makeCoreApplication(int &argc, char **argv)
{
    // Without windows Qt waits in a loop of its own, in which completions on the main queue never
    // run and AppKit never hears that an application was started or has ended.
    qputenv(coreFoundationLoop, "1");
    auto *const application = new QCoreApplication(argc, argv);
    // Other threads and programs that are started from here need no such loop.
    qunsetenv(coreFoundationLoop);
    return application;
}
