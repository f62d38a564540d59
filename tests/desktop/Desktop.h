#pragma once

#include "executor/Executor.h"
#include "platform/Platform.h"
#include "platform/linux/X11Desktop.h"
#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"

#include <QTest>

#include <csignal>

/// How long a real application may take on a machine that is busy with other tests.
constexpr int appLimit = 30'000;

#define APP_TRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, appLimit)
/// For functions that return something.
#define APP_TRY_WAIT(condition)                                                                    \
    if (!QTest::qWaitFor([&] { return condition; }, appLimit))                                     \
    qFatal("It never came to " #condition)

#define APP_TRY_VERIFY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, appLimit)

/// The application in front, as the model is told of it.
[[nodiscard]] inline QString frontName()
{
    const auto front = Platform::current().workspace().frontmostApplication();
    return front ? front->name.value_or(QString()) : QStringLiteral("nothing");
}

/// The title of the window that the keys go to.
[[nodiscard]] inline QString activeTitle()
{
    const auto snapshot = X11Desktop().snapshot();
    const auto active = snapshot ? snapshot->active : std::nullopt;
    return active ? active->title.value_or(QString()) : QString();
}

/// The open windows, front to back.
[[nodiscard]] inline QStringList windows()
{
    return Executor::windowSummary().split(QStringLiteral("; "));
}

/// The process of the running application of that name, or none.
[[nodiscard]] inline ProcessId processOf(const QString &name)
{
    return Executor::runningApp(name).value_or(Application()).pid;
}

/// Ends all applications, whatever they would like to ask.
inline void closeEverything()
{
    for (const Application &each : Platform::current().workspace().runningApplications())
        ::kill(static_cast<pid_t>(each.pid), SIGKILL);
    APP_TRY_COMPARE(windows(), QStringList{QStringLiteral("none")});
}
