#include "executor/Paths.h"
#include "executor/Executor.h"

#include "platform/PlatformError.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <pwd.h>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {
// Without a trailing slash, except for the root itself.
QString withoutTrailingSlash(QString path)
{
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

QStringView trimmedOfBlanks(QStringView text)
{
    const auto isBlank = [](QChar character) { return character == u' ' || character == u'\t'; };
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

// Expands "~/x" and "~user/x". If there is no such user, it is treated as the name of an entry in
// the home folder, so that the path does not depend on the working directory.
QString expandedTilde(const QString &path)
{
    const qsizetype slash = path.indexOf(u'/');
    const QString user = path.sliced(1, (slash < 0 ? path.size() : slash) - 1);
    const QString rest = slash < 0 ? QString() : path.sliced(slash + 1);
    if (user.isEmpty())
        return Executor::joined(QDir::homePath(), rest);
    const passwd *const entry =
        user.contains(QChar::Null) ? nullptr : getpwnam(user.toUtf8().constData());
    if (!entry || !entry->pw_dir)
        return Executor::joined(QDir::homePath(), path);
    return Executor::joined(QFile::decodeName(entry->pw_dir), rest);
}
} // namespace

QString Executor::resolveFolder(const QString &text)
{
    const QString trimmed = trimmedOfBlanks(text).toString();
    const QString key = trimmed.toLower().remove(u"~/"_s).remove(u"my "_s);
    const auto inHome = [](const QString &entry) { return joined(QDir::homePath(), entry); };
    if (key == u"desktop")
        return inHome(u"Desktop"_s);
    if (key == u"downloads" || key == u"downloads folder")
        return inHome(u"Downloads"_s);
    if (key == u"documents")
        return inHome(u"Documents"_s);
    if (key == u"pictures")
        return inHome(u"Pictures"_s);
    if (key == u"home" || key == u"~")
        return inHome({});
    if (trimmed.startsWith(u'~'))
        return expandedTilde(trimmed);
    if (trimmed.startsWith(u'/'))
        return withoutTrailingSlash(trimmed);
    return inHome(trimmed);
}

QString Executor::joined(const QString &folder, const QString &entry)
{
    qsizetype start = 0;
    while (start < entry.size() && entry[start] == u'/')
        ++start;
    const QString base = withoutTrailingSlash(folder);
    return withoutTrailingSlash(base.endsWith(u'/') ? base + entry.sliced(start)
                                                    : base + u'/' + entry.sliced(start));
}

QString Executor::lastPathComponent(const QString &path)
{
    const QString bare = withoutTrailingSlash(path);
    return bare == u"/" ? bare : bare.sliced(bare.lastIndexOf(u'/') + 1);
}

std::filesystem::path Executor::nativePath(const QString &path)
{
    if (path.contains(QChar::Null))
        throw PlatformError(qt_error_string(EINVAL));
    const QByteArray bytes = QFile::encodeName(path);
    return {bytes.begin(), bytes.end()};
}

bool Executor::somethingExistsAt(const QString &path)
{
    std::error_code error;
    return !path.contains(QChar::Null) && std::filesystem::exists(nativePath(path), error);
}

QString Executor::shownName(const std::filesystem::path &name)
{
    return QFile::decodeName(QByteArray::fromStdString(name.native()));
}
