#pragma once

#include "agent/action/AgentAction.h"
#include "platform/Workspace.h"

#include <QString>

#include <optional>

/// What performing an action needs: nothing, or the user's approval with a reason to show.
class Risk
{
public:
    [[nodiscard]] static Risk safe() { return Risk{std::nullopt}; }
    [[nodiscard]] static Risk needsConfirmation(QString reason) { return Risk{std::move(reason)}; }

    [[nodiscard]] bool isSafe() const { return !m_reason; }
    /// The sentence that tells the user what is about to happen; empty for a safe action.
    [[nodiscard]] QString reason() const { return m_reason.value_or(QString()); }

    bool operator==(const Risk &) const = default;

private:
    explicit Risk(std::optional<QString> reason) : m_reason(std::move(reason)) {}

    std::optional<QString> m_reason;
};

/// Fixed rules on what must not happen without the user's approval: sending, losing work, deleting,
/// spending, running scripts, resetting settings. No memory between calls.
namespace Safety {
/// Looks at the action and at the application that is in front, if there is one.
[[nodiscard]] Risk assess(const AgentAction &action, const std::optional<Application> &front);

/// The same for the application that is in front at the moment; a desktop that does not answer
/// counts as one where nothing is. Main thread.
[[nodiscard]] Risk assess(const AgentAction &action);
} // namespace Safety
