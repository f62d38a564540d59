#pragma once

#include "agent/action/AgentAction.h"

#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// What the user sees of the agent's work: plain values that only the session writes.

/// One line of a turn's log.
struct LogEntry
{
    enum class Kind {
        step,    ///< A step of the plan.
        success, ///< The last line of a turn that the model closed.
        failure, ///< An error or a stop.
        info,    ///< A neutral notice.
        confirm, ///< A step that waits for the user's approval.
    };

    QUuid id = QUuid::createUuid();
    QString text = {};
    Kind kind = Kind::step;
    bool running = false; ///< While the step is being carried out.

    bool operator==(const LogEntry &) const = default;
};

/// One task of the user with its log and its outcome.
struct Turn
{
    QUuid id = QUuid::createUuid();
    QString command = {}; ///< Trimmed, never empty.
    QList<LogEntry> log = {};
    bool finished = false;               ///< Set once, when the loop ends for whatever reason.
    std::optional<QString> summary = {}; ///< The closing sentence, if the turn ended with one.

    bool operator==(const Turn &) const = default;
};

/// A risky step that waits for the user.
struct PendingConfirmation
{
    QUuid id = QUuid::createUuid();
    AgentAction action = {};
    QString reason = {}; ///< Why approval is needed.
};
