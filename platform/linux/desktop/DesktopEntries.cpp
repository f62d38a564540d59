#include "platform/linux/desktop/DesktopEntries.h"

#include "platform/linux/desktop/GObjectPtr.h"
#include "platform/linux/x11/Display.h"
#include "platform/linux/x11/X11Connection.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1StringView>
#include <QUrl>

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
using EntryPtr = GObjectPtr<GDesktopAppInfo>;

// How long the entries are taken to be what they were, without a look at their files.
constexpr std::chrono::seconds lookInterval{1};

// GIO notices a change by itself, and not at once.
constexpr std::chrono::seconds gioLag{5};

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

QString location(const EntryPtr &entry)
{
    return QFile::decodeName(g_desktop_app_info_get_filename(entry.get()));
}

// "org.kde.dolphin"
QString baseId(const EntryPtr &entry)
{
    QString id = text(g_app_info_get_id(appInfo(entry)));
    if (id.endsWith(u".desktop"))
        id.chop(8);
    return id;
}

QString executableName(const EntryPtr &entry)
{
    const char *const program = g_app_info_get_executable(appInfo(entry));
    return program ? QFileInfo(QFile::decodeName(program)).fileName() : QString();
}

QStringList namesOf(const EntryPtr &entry)
{
    const std::unique_ptr<char, GFree> untranslated(
        g_desktop_app_info_get_string(entry.get(), G_KEY_FILE_DESKTOP_KEY_NAME));
    QStringList names{text(g_app_info_get_display_name(appInfo(entry))),
                      text(g_app_info_get_name(appInfo(entry))), text(untranslated.get()),
                      baseId(entry)};
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

// What an entry says, as far as it is asked for again and again.
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

// GIO lists them in no particular order; ours is always the same: what menus show comes first.
std::vector<Entry> readEntries()
{
    std::vector<Entry> entries;
    GList *const list = g_app_info_get_all();
    for (const GList *each = list; each; each = each->next) {
        const EntryPtr entry(G_DESKTOP_APP_INFO(each->data));
        if (!g_desktop_app_info_get_filename(entry.get()) || !g_app_info_get_id(appInfo(entry)))
            continue;
        entries.push_back(
            {.application = {namesOf(entry), location(entry)},
             .id = baseId(entry),
             .isShown = g_app_info_should_show(appInfo(entry)) != 0,
             .claimedClass = text(g_desktop_app_info_get_startup_wm_class(entry.get())),
             .lastSegment = baseId(entry).section(u'.', -1),
             .program = executableName(entry),
             .categories = text(g_desktop_app_info_get_categories(entry.get())).split(u';')});
    }
    g_list_free(list);
    std::ranges::sort(entries, [](const Entry &left, const Entry &right) {
        return std::pair(!left.isShown, left.id) < std::pair(!right.isShown, right.id);
    });
    return entries;
}

using FileTimes = std::map<std::filesystem::path, std::filesystem::file_time_type>;

// When each entry was written last.
FileTimes entryTimes()
{
    FileTimes times;
    for (const QString &folder : DesktopEntries::folders()) {
        std::error_code error;
        using Iterator = std::filesystem::recursive_directory_iterator;
        const auto options = std::filesystem::directory_options::follow_directory_symlink |
                             std::filesystem::directory_options::skip_permission_denied;
        Iterator each(QFile::encodeName(folder).toStdString(), options, error);
        for (; !error && each != Iterator(); each.increment(error)) {
            std::error_code unknown;
            times.emplace(each->path(), each->last_write_time(unknown));
        }
    }
    return times;
}

// Reading them all takes some 20 ms, so it is done when they have changed. One step of a task asks
// for them several times, so not even their files are looked at each time.
const std::vector<Entry> &allEntries()
{
    static std::vector<Entry> entries;
    static FileTimes times;
    static QDeadlineTimer nextLook(0);
    static QDeadlineTimer settled(0);
    if (!nextLook.hasExpired())
        return entries;
    FileTimes timesNow = entryTimes();
    if (timesNow != times || entries.empty())
        settled.setRemainingTime(gioLag);
    if (!settled.hasExpired()) {
        entries = readEntries();
        times = std::move(timesNow);
    }
    nextLook.setRemainingTime(lookInterval);
    return entries;
}

EntryPtr entryAt(const QString &location)
{
    return EntryPtr(g_desktop_app_info_new_from_filename(QFile::encodeName(location).constData()));
}

EntryPtr defaultFor(const char *contentType)
{
    GAppInfo *const info = g_app_info_get_default_for_type(contentType, FALSE);
    return EntryPtr(info ? G_DESKTOP_APP_INFO(info) : nullptr);
}

// The first shown entry of that category.
std::optional<QString> firstOf(const char *category)
{
    for (const Entry &entry : allEntries()) {
        if (entry.isShown && entry.categories.contains(QLatin1StringView(category)))
            return entry.application.location;
    }
    return std::nullopt;
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

std::optional<QString> startEntry(const EntryPtr &entry, const QByteArray &uri)
{
    const GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    GList uris{const_cast<char *>(uri.constData()), nullptr, nullptr};
    GError *failure = nullptr;
    // The program is nobody's business but the user's: it neither writes into our terminal nor
    // ends with what we were started from.
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    const std::unique_ptr<char, GFree> ownFolder(
        g_desktop_app_info_get_string(entry.get(), G_KEY_FILE_DESKTOP_KEY_PATH));
    QByteArray home = ownFolder ? QByteArray() : QFile::encodeName(QDir::homePath());
    const auto leave = [](void *folder) {
        setsid();
        // Where we were started is not where people look for their files.
        if (const auto *const path = static_cast<const char *>(folder); *path && chdir(path) != 0)
            return;
    };
    const gboolean started = g_desktop_app_info_launch_uris_as_manager(
        entry.get(), uri.isEmpty() ? nullptr : &uris, context.get(), flags, leave, home.data(),
        nullptr, nullptr, &failure);
    const GErrorPtr error(failure);
    if (started)
        return std::nullopt;
    return error ? text(error->message) : u"The application couldn't be started."_s;
}

// What the address should be opened with, and a sentence where nothing does.
struct Handler
{
    EntryPtr entry;
    QString complaint;
};

Handler handlerFor(const QByteArray &uri)
{
    const GObjectPtr<GFile> file(g_file_new_for_uri(uri.constData()));
    if (!g_file_is_native(file.get())) {
        const QString scheme = QString::fromLatin1(uri.first(uri.indexOf(':'))).toLower();
        const QByteArray type = "x-scheme-handler/" + scheme.toLatin1();
        return {defaultFor(type.constData()),
                u"No application is set up to open “"_s + scheme + u"” addresses."_s};
    }
    GError *failure = nullptr;
    const GObjectPtr<GFileInfo> info(g_file_query_info(file.get(),
                                                       G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                       G_FILE_QUERY_INFO_NONE, nullptr, &failure));
    const GErrorPtr error(failure);
    const char *const type = info ? g_file_info_get_content_type(info.get()) : nullptr;
    if (error || !type)
        return {nullptr, error ? text(error->message) : QString()};
    const std::unique_ptr<char, GFree> name(g_file_get_basename(file.get()));
    return {defaultFor(type), u"No application is set up to open “"_s + text(name.get()) + u"”."_s};
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

QString DesktopEntries::name(const QString &location)
{
    const EntryPtr entry = entryAt(location);
    return entry ? text(g_app_info_get_display_name(appInfo(entry)))
                 : QFileInfo(location).completeBaseName();
}

std::optional<InstalledApplication> DesktopEntries::forWindow(const X11Window &window)
{
    for (const auto property : {&Entry::claimedClass, &Entry::id, &Entry::lastSegment}) {
        for (const Entry &entry : allEntries()) {
            const QString &name = entry.*property;
            if (isSame(name, window.className) || isSame(name, window.instanceName))
                return entry.application;
        }
    }
    const QString program = window.owner ? programOf(*window.owner) : QString();
    for (const Entry &entry : allEntries()) {
        if (isSame(entry.program, program))
            return entry.application;
    }
    return std::nullopt;
}

std::optional<QString> DesktopEntries::counterpart(const QString &stockName)
{
    struct Job
    {
        QStringView stockName;
        const char *contentType = nullptr; ///< What such an application is the default for.
        const char *category;              ///< What such an application calls itself otherwise.
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
        return std::nullopt;
    if (const EntryPtr entry = defaultFor(job->contentType))
        return location(entry);
    return firstOf(job->category);
}

std::optional<QString> DesktopEntries::open(const QByteArray &uri)
{
    if (std::optional<QString> complaint = displayComplaint())
        return complaint;
    const Handler handler = handlerFor(uri);
    return handler.entry ? startEntry(handler.entry, uri) : handler.complaint;
}

std::optional<QString> DesktopEntries::start(const QString &location, const QByteArray &uri)
{
    if (std::optional<QString> complaint = displayComplaint())
        return complaint;
    const EntryPtr entry = entryAt(location);
    if (!entry)
        return u"The application at "_s + location + u" can't be started."_s;
    // Without a place for it the address would be dropped without a word.
    if (!uri.isEmpty() && !g_app_info_supports_uris(appInfo(entry)))
        return u'“' + name(location) + u"” doesn't open addresses."_s;
    return startEntry(entry, uri);
}
