#include "platform/linux/desktop/DesktopEntry.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/ChromiumProgram.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVariantMap>

#include <gio/gdesktopappinfo.h>

#include <deque>
#include <fcntl.h>
#include <glib.h>
#include <memory>
#include <set>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// Wine's menus go five levels deep, everything else one.
constexpr int mostLevels = 8;

// A desktop with everything installed has some 500 files in the largest of its folders.
constexpr int mostFiles = 5000;

// The largest entries, with texts in a hundred languages, have 60 KiB.
constexpr off_t mostBytes = off_t{1024} * 1024;

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

struct WordsFree
{
    void operator()(char **words) const { g_strfreev(words); }
};

struct KeyFileFree
{
    void operator()(GKeyFile *file) const { g_key_file_free(file); }
};

// The keys of the [Desktop Entry] group.
class Keys
{
public:
    explicit Keys(const QByteArray &content) : m_file(g_key_file_new())
    {
        m_isEntry = g_key_file_load_from_data(m_file.get(), content.constData(),
                                              static_cast<gsize>(content.size()), G_KEY_FILE_NONE,
                                              nullptr) != 0;
    }

    [[nodiscard]] bool describeApplication() const
    {
        const GStringPtr first(m_isEntry ? g_key_file_get_start_group(m_file.get()) : nullptr);
        return qstrcmp(first.get(), group) == 0 &&
               bytes(G_KEY_FILE_DESKTOP_KEY_TYPE) == G_KEY_FILE_DESKTOP_TYPE_APPLICATION;
    }

    [[nodiscard]] QByteArray bytes(const char *key) const
    {
        return GStringPtr(g_key_file_get_string(m_file.get(), group, key, nullptr)).get();
    }

    [[nodiscard]] QString text(const char *key) const { return QString::fromUtf8(bytes(key)); }

    [[nodiscard]] QString translated(const char *key) const
    {
        const GStringPtr value(
            g_key_file_get_locale_string(m_file.get(), group, key, nullptr, nullptr));
        return QString::fromUtf8(value.get());
    }

    [[nodiscard]] bool isSet(const char *key) const
    {
        return g_key_file_get_boolean(m_file.get(), group, key, nullptr) != 0;
    }

    [[nodiscard]] QStringList list(const char *key) const
    {
        return text(key).split(u';', Qt::SkipEmptyParts);
    }

private:
    static constexpr auto group = G_KEY_FILE_DESKTOP_GROUP;

    std::unique_ptr<GKeyFile, KeyFileFree> m_file;
    bool m_isEntry = false;
};

// XDG_CURRENT_DESKTOP names the most specific desktop first, and the first match decides.
bool isForThisDesktop(const Keys &keys)
{
    const QStringList only = keys.list(G_KEY_FILE_DESKTOP_KEY_ONLY_SHOW_IN);
    const QStringList never = keys.list(G_KEY_FILE_DESKTOP_KEY_NOT_SHOW_IN);
    for (const QString &desktop :
         qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts)) {
        if (only.contains(desktop))
            return true;
        if (never.contains(desktop))
            return false;
    }
    return only.isEmpty();
}

bool isInstalled(const QByteArray &program)
{
    return GStringPtr(g_find_program_in_path(program.constData())) != nullptr;
}

// The program of a command line; empty if it cannot be parsed or is not installed.
QByteArray programOf(const QByteArray &commandLine)
{
    char **parsed = nullptr;
    if (!g_shell_parse_argv(commandLine.constData(), nullptr, &parsed, nullptr))
        return {};
    const std::unique_ptr<char *, WordsFree> words(parsed);
    const QByteArray program = *parsed;
    return isInstalled(program) ? program : QByteArray();
}

// The bus name of a D-Bus activatable application is the name of its entry.
QString busName(const QString &location)
{
    const QString name = QFileInfo(location).completeBaseName();
    return g_application_id_is_valid(name.toUtf8().constData()) ? name : QString();
}

QByteArray quoted(const QString &word)
{
    return GStringPtr(g_shell_quote(QFile::encodeName(word).constData())).get();
}

// Expands the field codes that GIO cannot know: %i, the icon, and %k, the location of the entry.
QByteArray completed(const DesktopEntry &entry)
{
    const QByteArray &commandLine = entry.commandLine;
    QByteArray result;
    for (qsizetype i = 0; i < commandLine.size(); ++i) {
        const QByteArray code = commandLine.mid(i, commandLine[i] == '%' ? 2 : 1);
        QByteArray value = code;
        if (code == "%k")
            value = quoted(entry.location).replace('%', "%%");
        else if (code == "%i")
            value = entry.icon.isEmpty() ? QByteArray()
                                         : "--icon " + quoted(entry.icon).replace('%', "%%");
        result += value;
        i += code.size() - 1;
    }
    return result;
}

// Returns whether the request was sent. The reply may take long, and the application itself reports
// failures.
bool startByBus(const DesktopEntry &entry, const QByteArray &uri)
{
    const QString name = busName(entry.location);
    QString path = u'/' + name;
    path.replace(u'.', u'/').replace(u'-', u'_');
    QDBusMessage call = QDBusMessage::createMethodCall(name, path, u"org.freedesktop.Application"_s,
                                                       uri.isEmpty() ? u"Activate"_s : u"Open"_s);
    if (!uri.isEmpty())
        call << QStringList{QString::fromUtf8(uri)};
    call << QVariantMap();
    return QDBusConnection::sessionBus().send(call);
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

std::optional<DesktopEntry> DesktopEntry::at(const QString &location)
{
    const std::optional<QByteArray> content = ApplicationFolders::content(location);
    const Keys keys(content.value_or(QByteArray()));
    if (!keys.describeApplication())
        return std::nullopt;
    const QByteArray commandLine = keys.bytes(G_KEY_FILE_DESKTOP_KEY_EXEC);
    const QByteArray program = programOf(commandLine);
    const QByteArray tried = keys.bytes(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC);
    DesktopEntry entry{
        .location = location,
        .names = {keys.translated("X-GNOME-FullName"), keys.translated(G_KEY_FILE_DESKTOP_KEY_NAME),
                  keys.text(G_KEY_FILE_DESKTOP_KEY_NAME)},
        .commandLine = commandLine,
        .program = QFileInfo(QFile::decodeName(program)).fileName(),
        .folder = keys.text(G_KEY_FILE_DESKTOP_KEY_PATH),
        .icon = keys.translated(G_KEY_FILE_DESKTOP_KEY_ICON),
        .claimedClass = keys.text(G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS),
        .categories = keys.list(G_KEY_FILE_DESKTOP_KEY_CATEGORIES),
        .isHidden = keys.isSet(G_KEY_FILE_DESKTOP_KEY_HIDDEN),
        .isShown = !keys.isSet(G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY) && isForThisDesktop(keys),
        .needsTerminal = keys.isSet(G_KEY_FILE_DESKTOP_KEY_TERMINAL),
        .startsByBus =
            keys.isSet(G_KEY_FILE_DESKTOP_KEY_DBUS_ACTIVATABLE) && !busName(location).isEmpty()};
    const bool canStart = commandLine.isEmpty() ? entry.startsByBus : !program.isEmpty();
    if (!canStart || (!tried.isEmpty() && !isInstalled(tried)))
        return std::nullopt;
    entry.names.removeAll(QString());
    entry.names.removeDuplicates();
    if (entry.names.isEmpty())
        entry.names.append(QFileInfo(location).completeBaseName());
    return entry;
}

QString DesktopEntry::quoted(const QString &word)
{
    // Escapes backslashes twice, since the file's reader removes one level, and doubles per cent
    // signs, which would begin a field code.
    QString result;
    for (const QChar character : word) {
        if (u"\"`$\\"_s.contains(character))
            result += character == u'\\' ? u"\\\\\\"_s : u"\\\\"_s;
        result += character == u'%' ? u"%%"_s : QString(character);
    }
    return u'"' + result + u'"';
}

bool DesktopEntry::takesAddresses() const
{
    return commandLine.contains("%u") || commandLine.contains("%U");
}

ProcessId DesktopEntry::start(const QByteArray &uri) const
{
    DesktopEntry opened = *this;
    opened.commandLine = ChromiumProgram::opened(QString::fromUtf8(commandLine)).toUtf8();
    if (startsByBus && opened.commandLine == commandLine && startByBus(*this, uri))
        return {};
    if (!folder.isEmpty() && !QFileInfo(folder).isDir()) {
        throw PlatformError(u"The folder that “"_s + names.constFirst() +
                            u"” starts in doesn't exist."_s);
    }

    GError *failure = nullptr;
    const auto needs = needsTerminal ? G_APP_INFO_CREATE_NEEDS_TERMINAL : G_APP_INFO_CREATE_NONE;
    const GObjectPtr<GAppInfo> application(g_app_info_create_from_commandline(
        completed(opened).constData(), names.constFirst().toUtf8().constData(), needs, &failure));
    const GErrorPtr unusable(failure);
    if (!application)
        throw PlatformError(QString::fromUtf8(unusable->message));
    const GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    // The variable may be set for ourselves.
    g_app_launch_context_setenv(context.get(), "GIO_LAUNCHED_DESKTOP_FILE",
                                QFile::encodeName(location).constData());
    GList uris{const_cast<char *>(uri.constData()), nullptr, nullptr};
    // The program must not write to our terminal, and must not end with the process that started
    // us.
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    // Not in our own working directory.
    QByteArray start = QFile::encodeName(folder.isEmpty() ? QDir::homePath() : folder);
    const auto leave = [](void *path) {
        setsid();
        if (chdir(static_cast<const char *>(path)) != 0)
            return;
    };
    const auto note = [](GDesktopAppInfo *, GPid process, void *leader) {
        *static_cast<ProcessId *>(leader) = ProcessId{process};
    };
    ProcessId leader{};
    failure = nullptr;
    const gboolean started = g_desktop_app_info_launch_uris_as_manager(
        G_DESKTOP_APP_INFO(application.get()), uri.isEmpty() ? nullptr : &uris, context.get(),
        flags, leave, start.data(), note, &leader, &failure);
    const GErrorPtr error(failure);
    if (!started) {
        throw PlatformError(error ? QString::fromUtf8(error->message)
                                  : u"The application couldn't be started."_s);
    }
    return leader;
}
