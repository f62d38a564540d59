#pragma once

#include "agent/action/AgentAction.h"
#include "executor/Pause.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QString>

#include <optional>

/// One function for each entry of the dispatch table. Each reads its own arguments.
namespace Executor::Actions {
QCoro::Task<QString> openApp(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> quitApp(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> openURL(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> webSearch(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> newTab(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> typeText(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> pressKey(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> click(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> createFolder(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> screenshot(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> findFiles(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> openPath(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> trash(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> listWindows(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> readUI(AgentAction action, CancellationToken cancellation);
QCoro::Task<QString> appleScript(AgentAction action, CancellationToken cancellation);

/// The argument with that key; throws an ActionError with the sentence if it is missing.
[[nodiscard]] QString required(const AgentAction &action, const char *key, const char *message);

/// The argument with that key, if there is one.
[[nodiscard]] std::optional<QString> optional(const AgentAction &action, const char *key);

/// The file name of a screenshot taken at that time, in the time zone of the argument.
[[nodiscard]] QString screenshotName(const QDateTime &moment);
} // namespace Executor::Actions
