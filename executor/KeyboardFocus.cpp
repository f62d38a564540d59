#include "executor/KeyboardFocus.h"

#include "agent/action/ActionError.h"
#include "executor/Pause.h"
#include "platform/Platform.h"

using namespace Qt::StringLiterals;

namespace {
// How long an application may take to come to the front, and the interval of the checks.
constexpr std::chrono::milliseconds activationLimit{2000};
constexpr std::chrono::milliseconds activationStep{10};
// Time for the application to process the focus change: some windows drop earlier keys.
constexpr std::chrono::milliseconds focusSettle{50};

Workspace &workspace()
{
    return Platform::current().workspace();
}

bool hasFocus(ProcessId application)
{
    return workspace().focusedProcess() == application;
}

// Activates the application; false if it does not get the focus.
QCoro::Task<bool> takesFocus(ProcessId application)
{
    workspace().activate(application);
    for (auto waited = activationStep; !hasFocus(application); waited += activationStep) {
        if (waited > activationLimit)
            co_return false;
        co_await Executor::pause(activationStep, {});
    }
    co_await Executor::pause(focusSettle, {});
    co_return true;
}

// One process may have windows of several applications, as a browser has.
bool isInFront(const std::optional<Application> &application)
{
    const std::optional<Application> front = workspace().frontmostApplication();
    if (!front || !application)
        return !front && !application;
    return front->pid == application->pid && front->name == application->name;
}
} // namespace

QCoro::Task<void> Executor::KeyboardFocus::returnTo(std::optional<Application> application)
{
    if (isInFront(application))
        co_return;
    const std::optional<ProcessId> holder = workspace().focusedProcess();
    if (application && holder && workspace().ownProcesses().contains(*holder)) {
        const bool isBack = co_await takesFocus(application->pid);
        if (isBack && isInFront(application))
            co_return;
    }
    throw ActionError(u"Another application has come to the front meanwhile."_s);
}

QCoro::Task<ProcessId> Executor::KeyboardFocus::handOverTo(std::optional<Application> application)
{
    co_await returnTo(application);
    // Not asked for again: it could be another one by now.
    if (!application)
        throw ActionError(u"No application is in front to take the keyboard input."_s);
    if (hasFocus(application->pid))
        co_return application->pid;
    const bool isReady = co_await takesFocus(application->pid);
    if (!isReady)
        throw ActionError(u"The application in front did not take the keyboard "
                          "input."_s);
    co_return application->pid;
}

bool Executor::KeyboardFocus::isWith(ProcessId application)
{
    return hasFocus(application) && !workspace().ownProcesses().contains(application);
}
