#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

using Qt::StringLiterals::operator""_s;

/// One task as a user would word it, with what is there before, the steps of a model that makes no
/// mistake, and what has to be true afterwards. See README.md in this folder for the form.
struct LiveTask
{
    QString theme; ///< The file that it stands in, without its ending.
    QString words; ///< What the user asks for.
    QJsonObject content;

    [[nodiscard]] QString name() const { return theme + u": "_s + words; }
};

/// The tasks of one file, and what they have in common.
struct LiveTheme
{
    QString name;
    QJsonObject content;
    QList<LiveTask> tasks;
};

/// All themes of the folder, in the order of their names. Aborts with a sentence where a file is
/// none.
[[nodiscard]] QList<LiveTheme> readThemes(const QString &folder);
