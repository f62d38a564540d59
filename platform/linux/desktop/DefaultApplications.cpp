#include "platform/linux/desktop/DefaultApplications.h"

#include "platform/linux/desktop/EntryFiles.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QMap>

#include <algorithm>

#include <glib.h>

using namespace Qt::StringLiterals;

namespace {
// The lines of a file; none if it is too large or not a regular file.
QList<QByteArray> linesOf(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    QFile file(path);
    if (!EntryFiles::isReadable(name.toStdString()) || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll().split('\n');
}

// The entries of one file for a content type.
struct Opinion
{
    QStringList defaults;
    QStringList added;
    QStringList removed;
};

QStringList idsOf(const QByteArray &value)
{
    QStringList ids;
    for (const QByteArray &each : value.split(';')) {
        QString id = QString::fromUtf8(each.trimmed());
        if (id.endsWith(u".desktop"))
            ids.append(id.chopped(8));
    }
    return ids;
}

Opinion opinionOf(const QString &path, const QByteArray &type)
{
    Opinion opinion;
    QStringList *group = nullptr;
    for (const QByteArray &each : linesOf(path)) {
        const QByteArray line = each.trimmed();
        if (line.startsWith('[')) {
            group = line == "[Default Applications]"                           ? &opinion.defaults
                    : line == "[Added Associations]" || line == "[MIME Cache]" ? &opinion.added
                    : line == "[Removed Associations]"                         ? &opinion.removed
                                                                               : nullptr;
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (group && equals > 0 && line.first(equals).trimmed() == type)
            group->append(idsOf(line.sliced(equals + 1)));
    }
    return opinion;
}

// The paths of the lists, the user's first. In each folder, a desktop-specific list comes before
// the general one.
QStringList lists(const QStringList &applicationFolders)
{
    QStringList folders{QFile::decodeName(g_get_user_config_dir())};
    for (const char *const *folder = g_get_system_config_dirs(); *folder; ++folder)
        folders.append(QFile::decodeName(*folder));
    folders.append(applicationFolders);

    QStringList names;
    for (const QString &desktop :
         qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts))
        names.append(desktop.toLower() + u"-mimeapps.list"_s);
    names.append({u"mimeapps.list"_s, u"defaults.list"_s, u"mimeinfo.cache"_s});

    QStringList result;
    for (const QString &folder : folders) {
        for (const QString &name : names)
            result.append(folder + u'/' + name);
    }
    return result;
}

// The pairs of words in the files with that name: types and their parent types, or aliases and
// types.
QMultiMap<QByteArray, QByteArray> wordPairs(const QStringList &applicationFolders,
                                            const QString &name)
{
    QMultiMap<QByteArray, QByteArray> pairs;
    for (const QString &folder : applicationFolders) {
        for (const QByteArray &line : linesOf(QDir::cleanPath(folder + u"/../mime/"_s + name))) {
            const QList<QByteArray> words = line.simplified().split(' ');
            if (words.size() == 2)
                pairs.insert(words[0], words[1]);
        }
    }
    return pairs;
}

QList<QByteArray> typeAndItsKinds(const QByteArray &contentType, const QStringList &folders)
{
    QList<QByteArray> types{wordPairs(folders, u"aliases"_s).value(contentType, contentType)};
    const QMultiMap<QByteArray, QByteArray> parents = wordPairs(folders, u"subclasses"_s);
    for (qsizetype i = 0; i < types.size(); ++i) {
        QList<QByteArray> kinds = parents.values(types[i]);
        std::ranges::reverse(kinds); // the map gives the latest first
        for (const QByteArray &kind : kinds) {
            if (!types.contains(kind))
                types.append(kind);
        }
    }
    return types;
}
} // namespace

QStringList DefaultApplications::forType(const QString &contentType,
                                         const QStringList &applicationFolders,
                                         const std::function<bool(const QString &)> &isThere)
{
    QStringList result;
    const auto take = [&](const QStringList &ids, const QStringList &removed) {
        for (const QString &id : ids) {
            if (!result.contains(id) && !removed.contains(id) && isThere(id))
                result.append(id);
        }
    };
    const QStringList files = lists(applicationFolders);
    for (const QByteArray &type : typeAndItsKinds(contentType.toUtf8(), applicationFolders)) {
        QList<Opinion> opinions;
        for (const QString &file : files)
            opinions.append(opinionOf(file, type));
        for (const Opinion &each : opinions)
            take(each.defaults, {});
        // What an earlier list removes is also removed from later ones.
        QStringList removed;
        for (const Opinion &each : opinions) {
            take(each.added, removed);
            removed.append(each.removed);
        }
    }
    return result;
}
