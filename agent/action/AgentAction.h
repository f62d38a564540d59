#pragma once

#include <QMap>
#include <QString>
#include <QUuid>

#include <optional>

/// One action that the model chose, read from its reply.
struct AgentAction
{
    QUuid id = {};                    ///< New for every parse; identifies the action in lists.
    QString name = {};                ///< Lower case.
    QMap<QString, QString> args = {}; ///< As the model wrote them, untrimmed.

    /// Reads the first JSON object in the text and ignores the text around it. Nothing if there is
    /// none, if it is not strict JSON, or if it names no action.
    [[nodiscard]] static std::optional<AgentAction> parse(const QString &text);

    /// The argument without surrounding white space; a blank one counts as absent.
    [[nodiscard]] std::optional<QString> arg(const QString &key) const;

    /// A progress text such as "Launching Safari".
    [[nodiscard]] QString title() const;
};
