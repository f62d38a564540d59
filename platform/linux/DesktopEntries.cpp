#include "platform/linux/DesktopEntries.h"

#include "platform/linux/Display.h"
#include "platform/linux/GObjectPtr.h"
#include "platform/linux/X11Connection.h"

#include <QFile>
#include <QFileInfo>
#include <QLatin1StringView>
#include <QUrl>

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <array>
#include <memory>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {
using EntryPtr = GObjectPtr<GDesktopAppInfo>;

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

bool isShown(const EntryPtr &entry)
{
    return g_app_info_should_show(appInfo(entry)) != 0;
}

QString executableName(const EntryPtr &entry)
{
    const char *const program = g_app_info_get_executable(appInfo(entry));
    return program ? QFileInfo(QFile::decodeName(program)).fileName() : QString();
}

// GIO lists them in no particular order; ours is always the same.
std::vector<EntryPtr> allEntries()
{
    std::vector<EntryPtr> entries;
    GList *const list = g_app_info_get_all();
    for (const GList *each = list; each; each = each->next) {
        EntryPtr entry(G_DESKTOP_APP_INFO(each->data));
        if (g_desktop_app_info_get_filename(entry.get()) && g_app_info_get_id(appInfo(entry)))
            entries.push_back(std::move(entry));
    }
    g_list_free(list);
    std::ranges::sort(entries, {}, baseId);
    return entries;
}

InstalledApplication application(const EntryPtr &entry)
{
    QStringList names{text(g_app_info_get_display_name(appInfo(entry)))};
    const std::unique_ptr<char, GFree> untranslated(
        g_desktop_app_info_get_string(entry.get(), G_KEY_FILE_DESKTOP_KEY_NAME));
    names << text(g_app_info_get_name(appInfo(entry))) << text(untranslated.get()) << baseId(entry);
    names.removeDuplicates();
    names.removeAll(QString());
    return {names, location(entry)};
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
EntryPtr firstOf(const char *category)
{
    for (EntryPtr &entry : allEntries()) {
        const char *const categories = g_desktop_app_info_get_categories(entry.get());
        if (categories && isShown(entry) &&
            QByteArray(categories).split(';').contains(QByteArray(category)))
            return std::move(entry);
    }
    return nullptr;
}

QString programOf(ProcessId process)
{
    const QString link = QStringLiteral("/proc/%1/exe").arg(static_cast<qint64>(process));
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
    const auto leaveSession = [](void *) { setsid(); };
    const gboolean started = g_desktop_app_info_launch_uris_as_manager(
        entry.get(), uri.isEmpty() ? nullptr : &uris, context.get(), flags, leaveSession, nullptr,
        nullptr, nullptr, &failure);
    const GErrorPtr error(failure);
    if (started)
        return std::nullopt;
    return error ? text(error->message) : QStringLiteral("The application couldn't be started.");
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
        return {defaultFor(type.constData()), QStringLiteral("No application is set up to open “") +
                                                  scheme + QStringLiteral("” addresses.")};
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
    return {defaultFor(type), QStringLiteral("No application is set up to open “") +
                                  text(name.get()) + QStringLiteral("”.")};
}

std::optional<QString> displayComplaint()
{
    if (hasDisplay())
        return std::nullopt;
    return QStringLiteral("There is no display to open applications on.");
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
        folder += QStringLiteral("applications");
    }
    result.removeDuplicates();
    return result;
}

QList<InstalledApplication> DesktopEntries::in(const QString &folder)
{
    QList<InstalledApplication> applications;
    for (const EntryPtr &entry : allEntries()) {
        if (isShown(entry) && location(entry).startsWith(folder + u'/'))
            applications.append(application(entry));
    }
    return applications;
}

QString DesktopEntries::name(const QString &location)
{
    const EntryPtr entry = entryAt(location);
    return entry ? text(g_app_info_get_display_name(appInfo(entry)))
                 : QFileInfo(location).completeBaseName();
}

DesktopEntries::Matcher::Matcher()
{
    std::vector<EntryPtr> entries = allEntries();
    // Of two that match, the one that menus show.
    std::ranges::sort(entries, {}, [](const EntryPtr &entry) {
        return std::pair(!isShown(entry), baseId(entry));
    });
    for (const EntryPtr &entry : entries) {
        m_candidates.append(
            {.application = application(entry),
             .claimedClass = text(g_desktop_app_info_get_startup_wm_class(entry.get())),
             .id = baseId(entry),
             .lastSegment = baseId(entry).section(u'.', -1),
             .program = executableName(entry)});
    }
}

std::optional<InstalledApplication>
DesktopEntries::Matcher::operator()(const X11Window &window) const
{
    for (const auto property :
         {&Candidate::claimedClass, &Candidate::id, &Candidate::lastSegment}) {
        for (const Candidate &candidate : m_candidates) {
            const QString &name = candidate.*property;
            if (isSame(name, window.className) || isSame(name, window.instanceName))
                return candidate.application;
        }
    }
    const QString program = window.owner ? programOf(*window.owner) : QString();
    for (const Candidate &candidate : m_candidates) {
        if (isSame(candidate.program, program))
            return candidate.application;
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
    EntryPtr entry = defaultFor(job->contentType);
    if (!entry)
        entry = firstOf(job->category);
    return entry ? std::optional(location(entry)) : std::nullopt;
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
        return QStringLiteral("The application at ") + location +
               QStringLiteral(" can't be started.");
    // Without a place for it the address would be dropped without a word.
    if (!uri.isEmpty() && !g_app_info_supports_uris(appInfo(entry)))
        return u'“' + name(location) + QStringLiteral("” doesn't open addresses.");
    return startEntry(entry, uri);
}
