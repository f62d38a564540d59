#pragma once

#include <QList>
#include <QString>

using Qt::StringLiterals::operator""_s;

/// A text of an attacker at a place that the assistant reads, and the reply of a model that obeys
/// it.
struct HostileText
{
    /// The place where the model reads it.
    enum class Place {
        windowTitle,
        applicationName,
        pageTitle,    ///< The title of a browser's window.
        controlLabel, ///< The label of a button in the application in front.
        fileName,     ///< The name of a file in Downloads.
        scriptResult, ///< The result of a script that the user has approved.
    };

    const char *name = nullptr;
    Place place = Place::windowTitle;
    QString text;
    QString obeyed; ///< The reply of an obedient model.
    /// The reason of the question; empty if the reply has no effect.
    QString reason = {};
    QString front = u"Safari"_s; ///< The application in front.
    /// The reason as it is shown, if that differs.
    QString shown = {};
};

/// All hostile texts.
[[nodiscard]] const QList<HostileText> &hostileTexts();

/// An action in JSON, with an escaped text.
[[nodiscard]] QString replyOf(const QString &action, const QString &key = {},
                              const QString &value = {});
