#include "tests/live/HomeFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
const QString trash = u".local/share/Trash/files"_s;

bool isNamed(const QString &path, const QString &pattern)
{
    const QString wildcard = QRegularExpression::wildcardToRegularExpression(
        pattern, QRegularExpression::UnanchoredWildcardConversion);
    // Some editors keep a backup of “notes.txt” as “notes.txt~”.
    const QRegularExpression named(u"^(?:"_s + wildcard + u")(?:~|/.*)?$"_s);
    return named.match(path).hasMatch() || (path.endsWith(u'/') && pattern.startsWith(path));
}
} // namespace

HomeFiles HomeFiles::of(const QString &home)
{
    HomeFiles files;
    const QDir root(home);
    for (const QString &folder : {home, root.filePath(trash)}) {
        QDirIterator each(folder, QDir::AllEntries | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
        while (each.hasNext()) {
            each.next();
            const QString path = root.relativeFilePath(each.filePath());
            if (each.fileInfo().isDir()) {
                files.m_contents.insert(path + u'/', {});
                continue;
            }
            QFile file(each.filePath());
            files.m_contents.insert(path,
                                    file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
        }
    }
    return files;
}

QStringList HomeFiles::changesSince(const HomeFiles &before, const QStringList &expected) const
{
    QStringList changed;
    const auto compare = [&](const HomeFiles &one, const HomeFiles &other) {
        for (auto item = one.m_contents.begin(); item != one.m_contents.end(); ++item) {
            const auto same = other.m_contents.constFind(item.key());
            if (same == other.m_contents.end() || *same != *item)
                changed.append(item.key());
        }
    };
    compare(before, *this);
    compare(*this, before);
    changed.removeDuplicates();
    changed.removeIf([&](const QString &path) {
        return std::ranges::any_of(expected,
                                   [&](const QString &pattern) { return isNamed(path, pattern); });
    });
    return changed;
}
