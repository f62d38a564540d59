#include "platform/linux/desktop/DesktopEntries.h"

#include "base/Text.h"
#include "platform/linux/desktop/ChromiumProgram.h"
#include "platform/linux/desktop/DefaultApplications.h"
#include "platform/linux/desktop/EntryFiles.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1StringView>
#include <QSet>
#include <QUrl>

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
using EntryPtr = GObjectPtr<GDesktopAppInfo>;

// How long the cached entries are used without checking their files.
constexpr std::chrono::seconds lookInterval{1};

// A path cannot begin like this.
const QString withoutEntry = u"window-class:"_s;

struct GFree
{
    void operator()(void *memory) const { g_free(memory); }
};

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

GAppInfo *appInfo(const EntryPtr &entry)
{
    return G_APP_INFO(entry.get());
}

QString executableName(const EntryPtr &entry)
{
    const char *const program = g_app_info_get_executable(appInfo(entry));
    return program ? QFileInfo(QFile::decodeName(program)).fileName() : QString();
}

QStringList namesOf(const EntryPtr &entry, const QString &id)
{
    const std::unique_ptr<char, GFree> untranslated(
        g_desktop_app_info_get_string(entry.get(), G_KEY_FILE_DESKTOP_KEY_NAME));
    QStringList names{text(g_app_info_get_display_name(appInfo(entry))),
                      text(g_app_info_get_name(appInfo(entry))), text(untranslated.get()), id};
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

// The cached values of an entry.
struct Entry
{
    InstalledApplication application;
    QString id;
    bool isShown = true;
    QString claimedClass;
    QString lastSegment; ///< "dolphin" of "org.kde.dolphin".
    QString program;
    QStringList categories;
};

EntryPtr entryAt(const QString &location)
{
    const QByteArray path = QFile::encodeName(location);
    return EntryFiles::isReadable(path.toStdString())
               ? EntryPtr(g_desktop_app_info_new_from_filename(path.constData()))
               : EntryPtr();
}

// The files of all folders. Only the first one with each id is included.
std::vector<EntryFiles::File> entryFiles()
{
    std::vector<EntryFiles::File> files;
    QSet<QString> ids;
    for (const QString &folder : DesktopEntries::folders()) {
        for (EntryFiles::File &file : EntryFiles::in(QFile::encodeName(folder).toStdString())) {
            const qsizetype known = ids.size();
            ids.insert(file.id);
            if (ids.size() > known)
                files.push_back(std::move(file));
        }
    }
    return files;
}

// Always in the same order: entries that menus show come first.
std::vector<Entry> readEntries(const std::vector<EntryFiles::File> &files)
{
    std::vector<Entry> entries;
    for (const EntryFiles::File &file : files) {
        const QString location = QFile::decodeName(file.path.c_str());
        const EntryPtr entry = entryAt(location);
        if (!entry || g_desktop_app_info_get_is_hidden(entry.get()))
            continue;
        entries.push_back(
            {.application = {namesOf(entry, file.id), location},
             .id = file.id,
             .isShown = g_app_info_should_show(appInfo(entry)) != 0,
             .claimedClass = text(g_desktop_app_info_get_startup_wm_class(entry.get())),
             .lastSegment = file.id.section(u'.', -1),
             .program = executableName(entry),
             .categories = text(g_desktop_app_info_get_categories(entry.get())).split(u';')});
    }
    std::ranges::sort(entries, [](const Entry &left, const Entry &right) {
        return std::pair(!left.isShown, left.id) < std::pair(!right.isShown, right.id);
    });
    return entries;
}

// Reading all entries takes about 20 ms, so they are read again only if they have changed. One step
// of a task needs them several times, so the files are not checked each time either.
const std::vector<Entry> &allEntries()
{
    static std::vector<Entry> entries;
    static std::vector<EntryFiles::File> files;
    static QDeadlineTimer nextLook(0);
    if (!nextLook.hasExpired())
        return entries;
    std::vector<EntryFiles::File> filesNow = entryFiles();
    if (filesNow != files) {
        entries = readEntries(filesNow);
        files = std::move(filesNow);
    }
    nextLook.setRemainingTime(lookInterval);
    return entries;
}

const Entry *entryOf(const QString &id)
{
    const auto found = std::ranges::find(allEntries(), id, &Entry::id);
    return found == allEntries().end() ? nullptr : &*found;
}

const Entry *entryIn(const QString &location)
{
    const auto found = std::ranges::find(
        allEntries(), location, [](const Entry &each) { return each.application.location; });
    return found == allEntries().end() ? nullptr : &*found;
}

// The location of the default application for that content type.
std::optional<QString> defaultOf(const QString &contentType)
{
    const QStringList ids =
        DefaultApplications::forType(contentType, DesktopEntries::folders(),
                                     [](const QString &id) { return entryOf(id) != nullptr; });
    return ids.isEmpty() ? std::nullopt
                         : std::optional(entryOf(ids.constFirst())->application.location);
}

// The visible entries of that category.
QStringList ofCategory(QLatin1StringView category)
{
    QStringList locations;
    for (const Entry &entry : allEntries()) {
        if (entry.isShown && entry.categories.contains(category))
            locations.append(entry.application.location);
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
    const QString &name = entry.application.names.constFirst();
    if (kind.isEmpty() || name.contains(kind, Qt::CaseInsensitive))
        return std::nullopt;
    return name + u" ("_s + kind + u')';
}

QString programOf(ProcessId process)
{
    const QString link = u"/proc/%1/exe"_s.arg(static_cast<qint64>(process));
    return QFileInfo(QFile::symLinkTarget(link)).fileName();
}

bool isSame(const QString &left, const QString &right)
{
    return !left.isEmpty() && left.compare(right, Qt::CaseInsensitive) == 0;
}

struct KeyFileFree
{
    void operator()(GKeyFile *file) const { g_key_file_free(file); }
};

// The entry with a command line that makes its program expose its controls. Most need no change.
EntryPtr openedEntry(EntryPtr entry)
{
    const char *const usual = g_app_info_get_commandline(appInfo(entry));
    const QString commandLine = text(usual);
    const QString opened = ChromiumProgram::opened(commandLine);
    if (opened == commandLine)
        return entry;
    const std::unique_ptr<GKeyFile, KeyFileFree> file(g_key_file_new());
    if (!g_key_file_load_from_file(file.get(), g_desktop_app_info_get_filename(entry.get()),
                                   G_KEY_FILE_KEEP_TRANSLATIONS, nullptr))
        return entry;
    g_key_file_set_string(file.get(), G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_EXEC,
                          opened.toUtf8().constData());
    EntryPtr changed(g_desktop_app_info_new_from_keyfile(file.get()));
    return changed ? std::move(changed) : std::move(entry);
}

DesktopEntries::Started startEntry(const EntryPtr &installed, const QByteArray &uri)
{
    const EntryPtr entry = openedEntry(EntryPtr(G_DESKTOP_APP_INFO(g_object_ref(installed.get()))));
    const GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    GList uris{const_cast<char *>(uri.constData()), nullptr, nullptr};
    GError *failure = nullptr;
    // The program must not write to our terminal, and must not end with the process that started
    // us.
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    const std::unique_ptr<char, GFree> ownFolder(
        g_desktop_app_info_get_string(entry.get(), G_KEY_FILE_DESKTOP_KEY_PATH));
    QByteArray home = ownFolder ? QByteArray() : QFile::encodeName(QDir::homePath());
    const auto leave = [](void *folder) {
        setsid();
        // Not in our own working directory.
        if (const auto *const path = static_cast<const char *>(folder); *path && chdir(path) != 0)
            return;
    };
    const auto note = [](GDesktopAppInfo *, GPid process, void *leader) {
        *static_cast<ProcessId *>(leader) = ProcessId{process};
    };
    ProcessId leader{};
    const gboolean started = g_desktop_app_info_launch_uris_as_manager(
        entry.get(), uri.isEmpty() ? nullptr : &uris, context.get(), flags, leave, home.data(),
        note, &leader, &failure);
    const GErrorPtr error(failure);
    if (started)
        return {.leader = leader};
    return {error ? text(error->message) : u"The application couldn't be started."_s};
}

// The application for an address, or a sentence if there is none.
struct Handler
{
    std::optional<QString> location;
    QString complaint;
};

Handler handlerFor(const QByteArray &uri)
{
    const GObjectPtr<GFile> file(g_file_new_for_uri(uri.constData()));
    if (!g_file_is_native(file.get())) {
        const QString scheme = QString::fromLatin1(uri.first(uri.indexOf(':'))).toLower();
        return {defaultOf(u"x-scheme-handler/"_s + scheme),
                u"No application is set up to open “"_s + scheme + u"” addresses."_s};
    }
    GError *failure = nullptr;
    const GObjectPtr<GFileInfo> info(g_file_query_info(file.get(),
                                                       G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                       G_FILE_QUERY_INFO_NONE, nullptr, &failure));
    const GErrorPtr error(failure);
    const char *const type = info ? g_file_info_get_content_type(info.get()) : nullptr;
    if (error || !type)
        return {std::nullopt, error ? text(error->message) : QString()};
    const std::unique_ptr<char, GFree> name(g_file_get_basename(file.get()));
    return {defaultOf(text(type)),
            u"No application is set up to open “"_s + text(name.get()) + u"”."_s};
}

std::optional<QString> displayComplaint()
{
    if (hasDisplay())
        return std::nullopt;
    return u"There is no display to open applications on."_s;
}
} // namespace

QStringList DesktopEntries::folders()
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

QList<InstalledApplication> DesktopEntries::in(const QString &folder)
{
    QList<InstalledApplication> applications;
    for (const Entry &entry : allEntries()) {
        if (entry.isShown && entry.application.location.startsWith(folder + u'/'))
            applications.append(entry.application);
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
    const EntryPtr entry = entryAt(location);
    return entry ? text(g_app_info_get_display_name(appInfo(entry)))
                 : QFileInfo(location).completeBaseName();
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
            return entry.application.location;
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
            return entry.application;
    }
    for (const auto property : {&Entry::id, &Entry::lastSegment}) {
        for (const Entry &entry : allEntries()) {
            if (isSame(entry.*property, said))
                return entry.application;
        }
    }
    const QString program = window.owner ? programOf(*window.owner) : QString();
    if (!said.isEmpty() && !isSame(program, said))
        return std::nullopt;
    for (const Entry &entry : allEntries()) {
        if (isSame(entry.program, program))
            return entry.application;
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

std::optional<QString> DesktopEntries::defaultFor(const QByteArray &uri)
{
    const Handler handler = handlerFor(uri);
    return handler.location;
}

DesktopEntries::Started DesktopEntries::open(const QByteArray &uri)
{
    if (const std::optional<QString> complaint = displayComplaint())
        return {complaint};
    const Handler handler = handlerFor(uri);
    const EntryPtr entry = handler.location ? entryAt(*handler.location) : EntryPtr();
    return entry ? startEntry(entry, uri) : Started{handler.complaint};
}

DesktopEntries::Started DesktopEntries::start(const QString &location, const QByteArray &uri)
{
    if (const std::optional<QString> complaint = displayComplaint())
        return {complaint};
    // Without a placeholder, the address would be dropped silently.
    const QString deaf = u'“' + name(location) + u"” doesn't open addresses."_s;
    if (location.startsWith(withoutEntry))
        return {uri.isEmpty() ? u'“' + name(location) + u"” can't be started."_s : deaf};
    const EntryPtr entry = entryAt(location);
    if (!entry)
        return {u"The application at "_s + location + u" can't be started."_s};
    if (!uri.isEmpty() && !g_app_info_supports_uris(appInfo(entry)))
        return {deaf};
    return startEntry(entry, uri);
}
