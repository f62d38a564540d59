#include "tests/live/LiveTask.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

QList<LiveTheme> readThemes(const QString &folder)
{
    QList<LiveTheme> themes;
    for (const QFileInfo &info :
         QDir(folder).entryInfoList({u"*.json"_s}, QDir::Files, QDir::Name)) {
        QFile file(info.filePath());
        QJsonParseError error{};
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s cannot be read.", qPrintable(file.fileName()));
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
        if (!document.isObject()) {
            qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(error.errorString()));
        }
        LiveTheme theme{.name = info.completeBaseName(), .content = document.object(), .tasks = {}};
        const QJsonArray tasks = theme.content[u"tasks"_s].toArray();
        for (const auto &value : tasks) {
            const QJsonObject content = value.toObject();
            theme.tasks.append(
                {.theme = theme.name, .words = content[u"say"_s].toString(), .content = content});
        }
        themes.append(theme);
    }
    if (themes.isEmpty())
        qFatal("There are no tasks in %s.", qPrintable(folder));
    return themes;
}
