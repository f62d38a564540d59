#pragma once

#include "agent/action/ActionError.h"
#include "executor/Executor.h"
#include "executor/Pause.h"
#include "platform/PlatformError.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QMap>
#include <QString>

#include <chrono>
#include <utility>

using Qt::StringLiterals::operator""_s;

/// Records pauses instead of waiting.
class SeenPauses
{
public:
    QList<std::chrono::milliseconds> durations;

private:
    Executor::PauseOverride m_override{
        [this](std::chrono::milliseconds duration, const CancellationToken &) {
            durations.append(duration);
        }};
};

/// An action like the parser's.
[[nodiscard]] inline AgentAction action(const QString &name,
                                        const QMap<QString, QString> &args = {})
{
    return AgentAction{QUuid::createUuid(), name, args};
}

// QCoro::waitFor() never returns if the task throws, so exceptions are caught in another task.
[[nodiscard]] inline QCoro::Task<QString> told(QCoro::Task<QString> task)
{
    try {
        co_return co_await task;
    } catch (const ActionError &error) {
        co_return u"ActionError: "_s + error.message;
    } catch (const PlatformError &error) {
        co_return u"PlatformError: "_s + QString::fromUtf8(error.what());
    }
}

/// The result of a task, or its failure as type and sentence: "ActionError: Missing path."
[[nodiscard]] inline QString outcome(QCoro::Task<QString> task)
{
    return QCoro::waitFor(told(std::move(task)));
}

[[nodiscard]] inline QString outcome(const QString &name, const QMap<QString, QString> &args = {})
{
    return outcome(Executor::run(action(name, args)));
}
