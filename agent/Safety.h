#pragma once

#include "agent/action/AgentAction.h"
#include "platform/Workspace.h"

#include <QString>

#include <optional>

/// Whether an action needs the user's approval, and the reason to show if it does.
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

/// Fixed rules on what needs the user's approval: sending, losing work, deleting, spending, running
/// scripts, resetting settings. Stateless.
namespace Safety {
/// Assesses the action for the application that is in front, or for none. It must be performed for
/// the same one.
[[nodiscard]] Risk assess(const AgentAction &action, const std::optional<Application> &front);

/// The same for the application that is in front now. If the desktop does not answer, no
/// application counts as being in front. Main thread.
[[nodiscard]] Risk assess(const AgentAction &action);
} // namespace Safety
