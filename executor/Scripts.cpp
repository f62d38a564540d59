#include "executor/Actions.h"
#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "platform/Platform.h"
#include "platform/Scripts.h"

using namespace Qt::StringLiterals;

QString Executor::appleScript(const QString &source)
{
    const ScriptOutcome outcome = Platform::current().scripts().run(source);
    if (const auto *const error = std::get_if<ScriptError>(&outcome)) {
        throw ActionError(u"AppleScript error: "_s + error->message.value_or(u"unknown"_s));
    }
    const auto *const result = std::get_if<ScriptResult>(&outcome);
    if (result && result->text)
        return u"Script returned: "_s + *result->text;
    return u"Script ran."_s;
}

QCoro::Task<QString> Executor::Actions::appleScript(AgentAction action, Context)
{
    co_return Executor::appleScript(required(action, "script", "Missing script."));
}
