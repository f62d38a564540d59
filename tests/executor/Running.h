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

/// Waits that take no time and are written down.
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

/// An action as the parser would have made it.
[[nodiscard]] inline AgentAction action(const QString &name,
                                        const QMap<QString, QString> &args = {})
{
    return AgentAction{QUuid::createUuid(), name, args};
}

// QCoro::waitFor waits forever for a task that ends in an exception, so it is caught inside of one.
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

/// The result of a task, or the sentence of its failure behind the failure's type:
/// "ActionError: Missing path."
[[nodiscard]] inline QString outcome(QCoro::Task<QString> task)
{
    return QCoro::waitFor(told(std::move(task)));
}

[[nodiscard]] inline QString outcome(const QString &name, const QMap<QString, QString> &args = {})
{
    return outcome(Executor::run(action(name, args)));
}
