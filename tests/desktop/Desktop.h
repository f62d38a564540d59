#pragma once

#include "executor/Executor.h"
#include "platform/Platform.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"

#include <QDeadlineTimer>
#include <QTest>

#include <csignal>

using Qt::StringLiterals::operator""_s;

/// How long a real application may take on a machine that is busy with other tests.
constexpr int appLimit = 60'000;

/// Like QTRY_COMPARE, but evaluates the expression only once more after success: a busy application
/// may not answer a second time, and a click must not be repeated.
#define APP_TRY_COMPARE(actual, expected)                                                          \
    do {                                                                                           \
        auto seen = actual;                                                                        \
        if (!(seen == (expected)))                                                                 \
            (void)QTest::qWaitFor([&] { return (seen = (actual)) == (expected); }, appLimit);      \
        QCOMPARE(seen, expected);                                                                  \
    } while (false)
#define APP_TRY_VERIFY(condition)                                                                  \
    QVERIFY(QTest::qWaitFor([&] { return bool(condition); }, appLimit))

/// For functions that return a value.
#define APP_TRY_WAIT(condition)                                                                    \
    if (!QTest::qWaitFor([&] { return condition; }, appLimit))                                     \
    qFatal("It never came to " #condition)

/// The name of the application in front, as in the model's state line.
[[nodiscard]] inline QString frontName()
{
    const auto front = Platform::current().workspace().frontmostApplication();
    return front ? front->name.value_or(QString()) : u"nothing"_s;
}

/// The title of the focused window.
[[nodiscard]] inline QString activeTitle()
{
    const auto snapshot = X11Desktop().snapshot();
    const auto active = snapshot ? snapshot->active : std::nullopt;
    return active ? active->title.value_or(QString()) : QString();
}

/// The open windows, from front to back.
[[nodiscard]] inline QStringList windows()
{
    return Executor::windowSummary().split(u"; "_s);
}

/// The controls of the application in front.
[[nodiscard]] inline QString readUI()
{
    return outcome(u"read_ui"_s);
}

/// The process of the running application with that name, or 0.
[[nodiscard]] inline ProcessId processOf(const QString &name)
{
    return Executor::runningApp(name).value_or(Application()).pid;
}

/// Clicks the control; tries again if the application was too busy to answer.
inline void click(const QString &label)
{
    const QString wanted = u"Clicked “"_s + label + u"”."_s;
    QString told;
    const QDeadlineTimer limit(appLimit);
    do {
        told = outcome(u"click"_s, {{u"label"_s, label}});
    } while (told.endsWith(u"doesn't respond.") && !limit.hasExpired());
    QCOMPARE(told, wanted);
}

inline void type(const QString &text)
{
    QCOMPARE(outcome(u"type_text"_s, {{u"text"_s, text}}), u"Typed text."_s);
}

inline void press(const QString &key, const QString &modifiers = {})
{
    QCOMPARE(outcome(u"press_key"_s, {{u"key"_s, key}, {u"modifiers"_s, modifiers}}),
             u"Pressed "_s + key + u'.');
}

/// Kills all applications.
inline void closeEverything()
{
    for (const Application &each : Platform::current().workspace().runningApplications())
        ::kill(static_cast<pid_t>(each.pid), SIGKILL);
    APP_TRY_COMPARE(windows(), QStringList{u"none"_s});
}
