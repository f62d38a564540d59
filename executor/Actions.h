#pragma once

#include "agent/action/AgentAction.h"
#include "executor/Pause.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QString>

#include <optional>

/// The actions behind the dispatch table, one function each. They read their own arguments.
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

/// The argument under that key; an ActionError with the sentence where there is none.
[[nodiscard]] QString required(const AgentAction &action, const char *key, const char *complaint);

/// The argument under that key, if there is one.
[[nodiscard]] std::optional<QString> optional(const AgentAction &action, const char *key);

/// What a screenshot is called that was taken at that moment, in the moment's own time zone.
[[nodiscard]] QString screenshotName(const QDateTime &moment);
} // namespace Executor::Actions
