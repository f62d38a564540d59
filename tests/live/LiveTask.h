#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

using Qt::StringLiterals::operator""_s;

/// A task in a user's words, with its preconditions, the steps of a perfect model, and the expected
/// effects. README.md in this folder describes the format.
struct LiveTask
{
    QString theme; ///< The name of its file without the extension.
    QString words; ///< The user's words.
    QJsonObject content;

    [[nodiscard]] QString name() const { return theme + u": "_s + words; }
};

/// The tasks of one file and their common settings.
struct LiveTheme
{
    QString name;
    QJsonObject content;
    QList<LiveTask> tasks;
};

/// All themes of the folder, sorted by name. Aborts with a sentence if a file is invalid.
[[nodiscard]] QList<LiveTheme> readThemes(const QString &folder);
