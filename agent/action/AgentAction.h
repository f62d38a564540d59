#pragma once

#include <QMap>
#include <QString>
#include <QUuid>

#include <optional>

/// One action that the model chose, read from its reply.
struct AgentAction
{
    QUuid id = {};                    ///< Fresh for every parse; an identity for lists.
    QString name = {};                ///< Lower case.
    QMap<QString, QString> args = {}; ///< As the model wrote them, untrimmed.

    /// Reads the first JSON object in the text, whatever stands around it. Nothing where there is
    /// none, where it is no strict JSON, or where it names no action.
    [[nodiscard]] static std::optional<AgentAction> parse(const QString &text);

    /// The argument without the white space around it; a blank one counts as absent.
    [[nodiscard]] std::optional<QString> arg(const QString &key) const;

    /// What the action does, as a progress text: "Launching Safari".
    [[nodiscard]] QString title() const;
};
