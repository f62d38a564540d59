#pragma once

#include "agent/action/AgentAction.h"
#include "base/Cancellation.h"
#include "platform/Workspace.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QString>

#include <optional>

/// One function for each entry of the dispatch table. Each reads its own arguments.
namespace Executor::Actions {
/// What an action needs besides its arguments.
struct Context
{
    std::optional<Application> front{}; ///< What Executor::frontFor() has returned for it.
    CancellationToken cancellation{};
};

QCoro::Task<QString> openApp(AgentAction action, Context context);
QCoro::Task<QString> quitApp(AgentAction action, Context context);
QCoro::Task<QString> openURL(AgentAction action, Context context);
QCoro::Task<QString> webSearch(AgentAction action, Context context);
QCoro::Task<QString> newTab(AgentAction action, Context context);
QCoro::Task<QString> typeText(AgentAction action, Context context);
QCoro::Task<QString> pressKey(AgentAction action, Context context);
QCoro::Task<QString> click(AgentAction action, Context context);
QCoro::Task<QString> createFolder(AgentAction action, Context context);
QCoro::Task<QString> screenshot(AgentAction action, Context context);
QCoro::Task<QString> findFiles(AgentAction action, Context context);
QCoro::Task<QString> openPath(AgentAction action, Context context);
QCoro::Task<QString> trash(AgentAction action, Context context);
QCoro::Task<QString> listWindows(AgentAction action, Context context);
QCoro::Task<QString> readUI(AgentAction action, Context context);
QCoro::Task<QString> appleScript(AgentAction action, Context context);

/// The argument with that key; throws an ActionError with the sentence if it is missing.
[[nodiscard]] QString required(const AgentAction &action, const char *key, const char *message);

/// The argument with that key, if there is one.
[[nodiscard]] std::optional<QString> optional(const AgentAction &action, const char *key);

/// The location of the application that a name means; throws an ActionError if there is none.
[[nodiscard]] QString requiredApp(const QString &name);

/// The file name of a screenshot taken at that time, in the time zone of the argument.
[[nodiscard]] QString screenshotName(const QDateTime &moment);
} // namespace Executor::Actions
