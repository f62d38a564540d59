#include "platform/CoreApplication.h"

#include <QCoreApplication>

namespace {
// Read by Qt when it creates the event dispatcher of a thread.
constexpr auto coreFoundationLoop = "QT_EVENT_DISPATCHER_CORE_FOUNDATION";
} // namespace

QCoreApplication *makeCoreApplication(int &argc, char **argv)
{
    // Without windows, Qt's event loop does not run Core Foundation's: completions on the main
    // queue would never run, and AppKit would not notice that applications start and end.
    qputenv(coreFoundationLoop, "1");
    auto *const application = new QCoreApplication(argc, argv);
    // Other threads and child processes do not need it.
    qunsetenv(coreFoundationLoop);
    return application;
}
