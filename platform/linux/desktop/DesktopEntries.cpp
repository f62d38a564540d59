#include "platform/linux/desktop/DesktopEntries.h"

#include "base/Text.h"
#include "platform/PlatformError.h"
#include "platform/linux/desktop/GObjectPtr.h"
#include "platform/linux/desktop/LinuxProcesses.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1StringView>
#include <QMap>
#include <QSet>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
using ApplicationFolders::EntryFile;

// How long the cached entries are used without checking their files.
constexpr std::chrono::seconds lookInterval{1};

// A path cannot begin like this.
const QString withoutEntry = u"window-class:"_s;

// A type has three or four ancestors.
constexpr qsizetype mostKinds = 30;

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

// An entry, and the keys for finding it.
struct Entry : DesktopEntry
{
    QString id;
    QString lastSegment; ///< "dolphin" of "org.kde.dolphin".

    [[nodiscard]] InstalledApplication application() const
    {
        QStringList all = names + QStringList(id);
        all.removeDuplicates();
        return {all, location};
    }
};

// The files of all folders. Only the first one with each id is included.
std::vector<EntryFile> entryFiles()
{
    std::vector<EntryFile> files;
    QSet<QString> ids;
    for (const QString &folder : ApplicationFolders::all()) {
        for (EntryFile &file :
             ApplicationFolders::entriesIn(QFile::encodeName(folder).toStdString())) {
            const qsizetype known = ids.size();
            ids.insert(file.id);
            if (ids.size() > known)
                files.push_back(std::move(file));
        }
    }
    return files;
}

// Always in the same order: entries that menus show come first.
std::vector<Entry> readEntries(const std::vector<EntryFile> &files)
{
    std::vector<Entry> entries;
    for (const EntryFile &file : files) {
        std::optional<DesktopEntry> entry = DesktopEntry::at(QFile::decodeName(file.path.c_str()));
        if (entry && !entry->isHidden)
            entries.push_back({std::move(*entry), file.id, file.id.section(u'.', -1)});
    }
    std::ranges::sort(entries, [](const Entry &left, const Entry &right) {
        return std::pair(!left.isShown, left.id) < std::pair(!right.isShown, right.id);
    });
    return entries;
}

// Reading all entries takes about 20 ms, so they are read again only if they have changed. One step
// of a task needs them several times, so the files are not checked each time either.
// GAppInfoMonitor would report changes, but only once GIO has indexed all folders, which it does
// without a limit.
const std::vector<Entry> &allEntries()
{
    static std::vector<Entry> entries;
    static std::vector<EntryFile> files;
    static QDeadlineTimer nextLook(0);
    if (!nextLook.hasExpired())
        return entries;
    std::vector<EntryFile> filesNow = entryFiles();
    if (filesNow != files) {
        entries = readEntries(filesNow);
        files = std::move(filesNow);
    }
    nextLook.setRemainingTime(lookInterval);
    return entries;
}

const Entry *entryOf(const QString &id)
{
    const std::vector<Entry> &entries = allEntries();
    const auto found = std::ranges::find(entries, id, &Entry::id);
    return found == entries.end() ? nullptr : &*found;
}

const Entry *entryIn(const QString &location)
{
    const std::vector<Entry> &entries = allEntries();
    const auto found = std::ranges::find(entries, location, &Entry::location);
    return found == entries.end() ? nullptr : &*found;
}

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
        const QString id = QString::fromUtf8(each.trimmed());
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

// The location of the default application for that content type.
std::optional<QString> defaultOf(const QString &contentType)
{
    const QStringList ids =
        DesktopEntries::defaultsFor(contentType, ApplicationFolders::all(),
                                    [](const QString &id) { return entryOf(id) != nullptr; });
    return ids.isEmpty() ? std::nullopt : std::optional(entryOf(ids.constFirst())->location);
}

// The visible entries of that category.
QStringList ofCategory(QLatin1StringView category)
{
    QStringList locations;
    for (const Entry &entry : allEntries()) {
        if (entry.isShown && entry.categories.contains(category))
            locations.append(entry.location);
    }
    return locations;
}

// The safety rules recognise applications in which Return may send a message by words in their
// names, which most of them lack. The other texts and categories of an entry provide these words.
std::optional<QString> messengerName(const Entry &entry)
{
    const auto isOne = [&](auto... categories) {
        return (entry.categories.contains(categories) || ...);
    };
    QString kind;
    if (isOne("Email"_L1))
        kind = u"Mail"_s;
    else if (isOne("InstantMessaging"_L1, "Chat"_L1, "IRCClient"_L1))
        kind = u"Messages"_s;
    const QString &name = entry.names.constFirst();
    if (kind.isEmpty() || name.contains(kind, Qt::CaseInsensitive))
        return std::nullopt;
    return name + u" ("_s + kind + u')';
}

bool isSame(const QString &left, const QString &right)
{
    return !left.isEmpty() && left.compare(right, Qt::CaseInsensitive) == 0;
}

// The location of the application for an address. Throws a PlatformError if there is none.
QString handlerOf(const QByteArray &uri)
{
    const auto require = [](const std::optional<QString> &location, const QString &name) {
        if (!location)
            throw PlatformError(u"No application is set up to open “"_s + name);
        return *location;
    };
    const GObjectPtr<GFile> file(g_file_new_for_uri(uri.constData()));
    if (!g_file_is_native(file.get())) {
        const QString scheme = QString::fromLatin1(uri.first(uri.indexOf(':'))).toLower();
        return require(defaultOf(u"x-scheme-handler/"_s + scheme), scheme + u"” addresses."_s);
    }
    GError *failure = nullptr;
    const GObjectPtr<GFileInfo> info(g_file_query_info(file.get(),
                                                       G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                       G_FILE_QUERY_INFO_NONE, nullptr, &failure));
    const GErrorPtr error(failure);
    const char *const type = info ? g_file_info_get_content_type(info.get()) : nullptr;
    if (error || !type)
        throw PlatformError(error ? text(error->message) : QString());
    const GStringPtr name(g_file_get_basename(file.get()));
    return require(defaultOf(text(type)), text(name.get()) + u"”."_s);
}

[[noreturn]] void failToStart(const QString &application)
{
    throw PlatformError(application + u" can't be started."_s);
}

void requireDisplay()
{
    if (!hasWindowSystem())
        throw PlatformError(u"There is no display to open applications on."_s);
}
} // namespace

QList<InstalledApplication> DesktopEntries::in(const QString &folder)
{
    QList<InstalledApplication> applications;
    for (const Entry &entry : allEntries()) {
        if (entry.isShown && entry.location.startsWith(folder + u'/'))
            applications.append(entry.application());
    }
    return applications;
}

bool DesktopEntries::isEntry(const QString &location)
{
    return !location.startsWith(withoutEntry);
}

QString DesktopEntries::locationWithoutEntry(const QString &name)
{
    return withoutEntry + name;
}

bool DesktopEntries::isBrowser(const QString &location)
{
    const Entry *const entry = entryIn(location);
    return entry && entry->categories.contains("WebBrowser"_L1);
}

QString DesktopEntries::name(const QString &location)
{
    if (location.startsWith(withoutEntry))
        return location.sliced(withoutEntry.size());
    const std::optional<DesktopEntry> entry = DesktopEntry::at(location);
    return entry ? entry->names.constFirst() : QFileInfo(location).completeBaseName();
}

QString DesktopEntries::nameInFront(const QString &location)
{
    const Entry *const entry = entryIn(location);
    const std::optional<QString> messenger = entry ? messengerName(*entry) : std::nullopt;
    return messenger.value_or(name(location));
}

std::optional<QString> DesktopEntries::namedInFront(const QString &foldedName)
{
    for (const Entry &entry : allEntries()) {
        const std::optional<QString> name = messengerName(entry);
        if (name && Text::folded(*name) == foldedName)
            return entry.location;
    }
    return std::nullopt;
}

std::optional<InstalledApplication> DesktopEntries::forWindow(const WindowClass &window)
{
    // The class of a window identifies the application, but its program may only be an interpreter.
    // So an entry's program is used only if the class is named after it or is missing.
    const QString &said = window.className.isEmpty() ? window.instanceName : window.className;
    for (const Entry &entry : allEntries()) {
        if (isSame(entry.claimedClass, window.className) ||
            (!entry.claimedClass.isEmpty() && entry.claimedClass == window.instanceName))
            return entry.application();
    }
    for (const auto property : {&Entry::id, &Entry::lastSegment}) {
        for (const Entry &entry : allEntries()) {
            if (isSame(entry.*property, said))
                return entry.application();
        }
    }
    const QString program = window.process
                                ? QFileInfo(LinuxProcesses().program(*window.process)).fileName()
                                : QString();
    if (!said.isEmpty() && !isSame(program, said))
        return std::nullopt;
    for (const Entry &entry : allEntries()) {
        if (isSame(entry.program, program))
            return entry.application();
    }
    return std::nullopt;
}

QStringList DesktopEntries::counterparts(const QString &stockName)
{
    struct Job
    {
        QStringView stockName;
        const char *contentType =
            nullptr;          ///< The content type for which such an application is the default.
        const char *category; ///< The category of such applications.
    };
    constexpr auto jobs = std::to_array<Job>({
        {u"safari", "x-scheme-handler/https", "WebBrowser"},
        {u"finder", "inode/directory", "FileManager"},
        {u"mail", "x-scheme-handler/mailto", "Email"},
        {u"terminal", "x-scheme-handler/terminal", "TerminalEmulator"},
        {u"textedit", "text/plain", "TextEditor"},
        {u"calculator", "x-scheme-handler/calculator", "Calculator"},
        {u"preview", "application/pdf", "Viewer"},
        {u"system settings", "x-scheme-handler/settings", "Settings"},
        {u"photos", "image/jpeg", "Photography"},
        {u"music", "audio/mpeg", "Music"},
        {u"calendar", "text/calendar", "Calendar"},
        {u"notes", "application/x-note", "X-Notes"},
    });
    const auto *const job = std::ranges::find(jobs, QStringView(stockName), &Job::stockName);
    if (job == jobs.end())
        return {};
    QStringList locations = ofCategory(QLatin1StringView(job->category));
    if (const std::optional<QString> location = defaultOf(QString::fromLatin1(job->contentType))) {
        locations.removeAll(*location);
        locations.prepend(*location);
    }
    return locations;
}

QStringList DesktopEntries::defaultsFor(const QString &contentType, const QStringList &folders,
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

std::optional<QString> DesktopEntries::defaultFor(const QByteArray &uri)
{
    try {
        return handlerOf(uri);
    } catch (const PlatformError &) {
        return std::nullopt;
    }
}

ProcessId DesktopEntries::open(const QByteArray &uri)
{
    requireDisplay();
    const QString location = handlerOf(uri);
    const std::optional<DesktopEntry> entry = DesktopEntry::at(location);
    if (!entry)
        failToStart(u"The application at "_s + location);
    return entry->start(uri);
}

ProcessId DesktopEntries::start(const QString &location, const QByteArray &uri)
{
    requireDisplay();
    const std::optional<DesktopEntry> entry =
        isEntry(location) ? DesktopEntry::at(location) : std::nullopt;
    if (!entry && isEntry(location))
        failToStart(u"The application at "_s + location);
    // Without a placeholder, the address would be dropped silently.
    if (!uri.isEmpty() && (!entry || !entry->takesAddresses()))
        throw PlatformError(u'“' + name(location) + u"” doesn't open addresses."_s);
    if (!entry)
        failToStart(u'“' + name(location) + u'”');
    return entry->start(uri);
}
