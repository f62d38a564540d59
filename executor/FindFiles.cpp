#include "base/Text.h"
#include "executor/Actions.h"
#include "executor/Executor.h"
#include "executor/Paths.h"

#include "agent/action/ActionError.h"
#include "platform/Platform.h"

#include <QFileInfo>
#include <QList>

#include <algorithm>
#include <filesystem>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {
using Time = std::filesystem::file_time_type;

// The result lists so many names; its count includes the others.
constexpr qsizetype shownNames = 5;

struct Entry
{
    std::filesystem::path path;
    QString name;
    Time modified;
    qsizetype position = 0; ///< In the listing.
};

// ".PDF " → "pdf"
QString cleanedExtension(const QString &extension)
{
    const auto isPadding = [](QChar character) { return character == u'.' || character == u' '; };
    QString cleaned = Text::folded(extension);
    while (!cleaned.isEmpty() && isPadding(cleaned.back()))
        cleaned.chop(1);
    while (!cleaned.isEmpty() && isPadding(cleaned.front()))
        cleaned.remove(0, 1);
    return cleaned;
}

// The text after the last dot; a dot at either end of the name does not count.
QStringView pathExtension(QStringView name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot <= 0 ? QStringView() : name.sliced(dot + 1);
}

// An item without a date, such as a dangling link, counts as older than all others.
Time modificationTime(const std::filesystem::path &path)
{
    std::error_code error;
    const Time time = std::filesystem::last_write_time(path, error);
    return error ? Time::min() : time;
}

class Filter
{
public:
    Filter(const std::optional<QString> &extension, const std::optional<QString> &query)
    {
        if (extension)
            m_extension = cleanedExtension(*extension);
        if (query)
            m_query = Text::folded(*query);
    }

    [[nodiscard]] bool keeps(const QString &name) const
    {
        const QString lowered = Text::folded(name);
        return (!m_extension || pathExtension(lowered) == *m_extension) &&
               (!m_query || lowered.contains(*m_query));
    }

private:
    std::optional<QString> m_extension;
    std::optional<QString> m_query;
};

// The folder's visible entries that match the filter, in the order of the listing; nothing if the
// folder cannot be read completely.
std::optional<QList<Entry>> listed(const QString &folder, const Filter &filter)
{
    if (folder.contains(QChar::Null))
        return std::nullopt;
    QList<Entry> entries;
    std::error_code error;
    auto each = std::filesystem::directory_iterator(Executor::nativePath(folder), error);
    for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        const std::filesystem::path &path = each->path();
        const QString name = Executor::shownName(path.filename());
        if (filter.keeps(name) && !QFileInfo(Executor::shownName(path)).isHidden())
            entries.append({path, name, modificationTime(path), entries.size()});
    }
    return error ? std::nullopt : std::optional(entries);
}
} // namespace

QString Executor::findFiles(const QString &folder, const std::optional<QString> &extension,
                            const std::optional<QString> &query)
{
    std::optional<QList<Entry>> entries = listed(resolveFolder(folder), Filter(extension, query));
    if (!entries)
        throw ActionError(u"Couldn't read "_s + folder + u'.');
    if (entries->isEmpty())
        return u"No matching files in "_s + folder + u'.';

    // Equal dates keep the order of the listing.
    std::ranges::sort(*entries, [](const Entry &left, const Entry &right) {
        return left.modified != right.modified ? left.modified > right.modified
                                               : left.position < right.position;
    });
    const Entry &newest = entries->constFirst();
    Platform::current().workspace().reveal(newest.path);

    QStringList names;
    for (const Entry &entry : entries->first(std::min(entries->size(), shownNames)))
        names.append(entry.name);
    return u"Found "_s + QString::number(entries->size()) + u" file(s), newest first: "_s +
           names.join(u", "_s) + u". Revealed “"_s + newest.name + u"” in Finder."_s;
}

QCoro::Task<QString> Executor::Actions::findFiles(AgentAction action, Context)
{
    const QString folder = optional(action, "folder").value_or(u"Downloads"_s);
    const std::optional<QString> extension = optional(action, "extension");
    co_return Executor::findFiles(folder, extension ? extension : optional(action, "type"),
                                  optional(action, "query"));
}
