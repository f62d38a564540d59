#include "platform/linux/desktop/EntryFiles.h"

#include <QFile>

#include <deque>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
// Wine's menus go five levels deep, everything else one.
constexpr int mostLevels = 8;

// A desktop with everything installed has some 500 files in the largest of its folders.
constexpr int mostFiles = 5000;

// The largest entries, with texts in a hundred languages, have 60 KiB.
constexpr off_t mostBytes = 1024 * 1024;

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

    std::vector<EntryFiles::File> run()
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
        } else if (name.endsWith(suffix) && isReadableFile(*status)) {
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
    std::vector<EntryFiles::File> m_files;
    int m_looks = 0;
};
} // namespace

std::vector<EntryFiles::File> EntryFiles::in(const std::filesystem::path &folder)
{
    return Walk(folder).run();
}

bool EntryFiles::isReadable(const std::filesystem::path &file)
{
    const std::optional<struct stat> status = statusOf(file);
    return status && isReadableFile(*status);
}
