#include "platform/linux/desktop/ApplicationFolders.h"

#include <QDir>
#include <QFile>
#include <QMap>

#include <algorithm>
#include <deque>
#include <set>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
// Wine's menus go five levels deep, everything else one.
constexpr int mostLevels = 8;

// A desktop with everything installed has some 500 files in the largest of its folders.
constexpr int mostFiles = 5000;

// A type has three or four ancestors.
constexpr qsizetype mostKinds = 30;

// The largest entries, with texts in a hundred languages, have 60 KiB.
constexpr off_t mostBytes = 1024 * 1024;

// All entries of a desktop with everything installed have some 5 MiB.
constexpr off_t mostBytesOfAll = 64 * mostBytes;

struct Folder
{
    std::filesystem::path path;
    QString prefix;
    int level;
};

std::optional<struct stat> statusOf(const std::filesystem::path &path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

bool isReadableFile(const struct stat &status)
{
    return S_ISREG(status.st_mode) && status.st_size <= mostBytes;
}

class Walk
{
public:
    explicit Walk(const std::filesystem::path &folder) { enter({folder, QString(), 0}); }

    std::vector<ApplicationFolders::EntryFile> run()
    {
        while (!m_next.empty() && m_looks < mostFiles) {
            const Folder folder = std::move(m_next.front());
            m_next.pop_front();
            list(folder);
        }
        return std::move(m_files);
    }

private:
    void list(const Folder &folder)
    {
        std::error_code error;
        std::filesystem::directory_iterator each(folder.path, error);
        for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
            if (++m_looks > mostFiles)
                return;
            take(each->path(), folder);
        }
    }

    void take(const std::filesystem::path &path, const Folder &folder)
    {
        const std::optional<struct stat> status = statusOf(path);
        if (!status)
            return;
        const QString name = QFile::decodeName(path.filename().c_str());
        const QString suffix = u".desktop"_s;
        if (S_ISDIR(status->st_mode)) {
            enter({path, folder.prefix + name + u'-', folder.level + 1});
        } else if (name.endsWith(suffix) && isReadableFile(*status) &&
                   m_bytes + status->st_size <= mostBytesOfAll) {
            m_bytes += status->st_size;
            std::error_code unknown;
            m_files.push_back({folder.prefix + name.chopped(suffix.size()), path,
                               std::filesystem::last_write_time(path, unknown)});
        }
    }

    // Links may lead to visited folders, so folders are identified by device and inode.
    void enter(Folder folder)
    {
        const std::optional<struct stat> status = statusOf(folder.path);
        if (status && folder.level <= mostLevels &&
            m_visited.emplace(status->st_dev, status->st_ino).second)
            m_next.push_back(std::move(folder));
    }

    std::deque<Folder> m_next;
    std::set<std::pair<dev_t, ino_t>> m_visited;
    std::vector<ApplicationFolders::EntryFile> m_files;
    int m_looks = 0;
    off_t m_bytes = 0;
};

// The lines of a file; none if it cannot be read.
QList<QByteArray> linesOf(const QString &path)
{
    return ApplicationFolders::content(path).value_or(QByteArray()).split('\n');
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
QMultiMap<QByteArray, QByteArray> wordPairs(const QStringList &folders, const QString &name)
{
    QMultiMap<QByteArray, QByteArray> pairs;
    for (const QString &folder : folders) {
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
            if (!types.contains(kind) && types.size() < mostKinds)
                types.append(kind);
        }
    }
    return types;
}
} // namespace

QStringList ApplicationFolders::all()
{
    QStringList result{QFile::decodeName(g_get_user_data_dir())};
    for (const char *const *folder = g_get_system_data_dirs(); *folder; ++folder)
        result.append(QFile::decodeName(*folder));
    for (QString &folder : result) {
        if (!folder.endsWith(u'/'))
            folder += u'/';
        folder += u"applications"_s;
    }
    result.removeDuplicates();
    return result;
}

std::vector<ApplicationFolders::EntryFile>
ApplicationFolders::entriesIn(const std::filesystem::path &folder)
{
    return Walk(folder).run();
}

std::optional<QByteArray> ApplicationFolders::content(const QString &file)
{
    // Opening a device may already have an effect, so only regular files are opened; and the file
    // may have been replaced between the two checks.
    const QByteArray path = QFile::encodeName(file);
    const std::optional<struct stat> before = statusOf(path.toStdString());
    if (!before || !isReadableFile(*before))
        return std::nullopt;
    const int descriptor = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    struct stat opened = {};
    QFile reader;
    if (::fstat(descriptor, &opened) != 0 || !isReadableFile(opened) ||
        !reader.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return std::nullopt;
    }
    return reader.read(mostBytes);
}

QStringList ApplicationFolders::defaultsFor(const QString &contentType, const QStringList &folders,
                                            const std::function<bool(const QString &)> &isThere)
{
    QStringList result;
    const auto take = [&](const QStringList &ids, const QStringList &removed) {
        for (const QString &id : ids) {
            if (!result.contains(id) && !removed.contains(id) && isThere(id))
                result.append(id);
        }
    };
    const QStringList files = lists(folders);
    for (const QByteArray &type : typeAndItsKinds(contentType.toUtf8(), folders)) {
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
