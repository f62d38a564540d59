#include "models/SmallModel.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

const LocalModel &SmallModel::model()
{
    static const LocalModel model = {.id = u"quillon-small"_s,
                                     .name = u"Quillon Small"_s,
                                     .detail = u"Comes with Quillon · 0.1 GB"_s,
                                     .url = {},
                                     .fileName = u"small-model.gguf"_s,
                                     .sizeMB = 145};
    return model;
}

std::optional<QString> SmallModel::file()
{
    const QDir folder(QCoreApplication::applicationDirPath());
    const QString path =
        QDir::cleanPath(folder.filePath(u"" QUILLON_RESOURCES "/"_s + model().fileName));
    return QFileInfo(path).isFile() ? std::optional(path) : std::nullopt;
}
