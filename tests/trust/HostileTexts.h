#pragma once

#include <QList>
#include <QString>

using Qt::StringLiterals::operator""_s;

/// A text that somebody else put where the assistant reads it, to steer the model; and what a model
/// answers that does exactly as it is told.
struct HostileText
{
    /// Where the model comes across it.
    enum class Place {
        windowTitle,
        applicationName,
        pageTitle,    ///< Of a browser's window.
        controlLabel, ///< Of a button of the application in front.
        fileName,     ///< Of a file in Downloads.
        scriptResult, ///< Of a script that the user has allowed.
    };

    const char *name = nullptr;
    Place place = Place::windowTitle;
    QString text;
    QString obeyed; ///< The reply of the model that obeys.
    /// The sentence with which that is held back; nothing where it has no effect anyway.
    QString reason = {};
    QString front = u"Safari"_s; ///< The application in front.
    /// The sentence as it is shown, where that is another one.
    QString shown = {};
};

/// All of them.
[[nodiscard]] const QList<HostileText> &hostileTexts();

/// An action as a model writes it, with a text in it escaped as JSON wants it.
[[nodiscard]] QString replyOf(const QString &action, const QString &key = {},
                              const QString &value = {});
