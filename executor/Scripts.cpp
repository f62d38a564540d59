#include "executor/Actions.h"
#include "executor/Executor.h"

#include "agent/ActionError.h"
#include "platform/Platform.h"
#include "platform/Scripts.h"

QString Executor::appleScript(const QString &source)
{
    const ScriptOutcome outcome = Platform::current().scripts().run(source);
    if (const auto *const error = std::get_if<ScriptError>(&outcome)) {
        throw ActionError(QStringLiteral("AppleScript error: ") +
                          error->message.value_or(QStringLiteral("unknown")));
    }
    const auto *const result = std::get_if<ScriptResult>(&outcome);
    if (result && result->text)
        return QStringLiteral("Script returned: ") + *result->text;
    return QStringLiteral("Script ran.");
}

QCoro::Task<QString> Executor::Actions::appleScript(AgentAction action, Surrounding)
{
    co_return Executor::appleScript(required(action, "script", "Missing script."));
}
