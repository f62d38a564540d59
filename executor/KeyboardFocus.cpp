#include "executor/KeyboardFocus.h"

#include "agent/action/ActionError.h"
#include "executor/Pause.h"
#include "platform/Platform.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {
// How long an application may take to come to the front, and how often we look.
constexpr std::chrono::milliseconds activationLimit{2000};
constexpr std::chrono::milliseconds activationStep{10};
// How long it gets to notice that it is there: some windows drop the keys that come before.
constexpr std::chrono::milliseconds focusSettle{50};
} // namespace

QCoro::Task<ProcessId> Executor::KeyboardFocus::handOver()
{
    const std::optional<ProcessId> holder = Platform::current().workspace().focusedProcess();
    if (holder && holder != ProcessId{QCoreApplication::applicationPid()})
        co_return *holder;

    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    if (!front)
        throw ActionError(u"No application is in front to take the keyboard input."_s);
    Platform::current().workspace().activate(front->pid);
    for (auto waited = activationStep; !isWith(front->pid); waited += activationStep) {
        if (waited > activationLimit)
            throw ActionError(u"The application in front did not take the keyboard "
                              "input."_s);
        co_await pause(activationStep, {});
    }
    co_await pause(focusSettle, {});
    co_return front->pid;
}

bool Executor::KeyboardFocus::isWith(ProcessId application)
{
    return Platform::current().workspace().focusedProcess() == application;
}
