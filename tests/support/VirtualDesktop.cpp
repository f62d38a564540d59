#include "tests/support/VirtualDesktop.h"

#include "tests/support/Eventually.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>
#include <utility>
#include <xcb/xcb_ewmh.h>

using namespace Qt::StringLiterals;

namespace {
using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

// The child is killed when this process ends in any way.
void bindToUs(QProcess &process)
{
    process.setChildProcessModifier([parent = getpid()] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
    });
}

void end(QProcess &process)
{
    process.kill();
    process.waitForFinished(-1);
}

QByteArray firstLine(QProcess &process)
{
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(eventually)) {
            qFatal("%s did not start: %s", qPrintable(process.program()),
                   qPrintable(process.errorString()));
        }
    }
    return process.readLine().trimmed();
}

// The processes whose environment contains the folder.
QList<qint64> processesOf(const QString &folder)
{
    QList<qint64> found;
    for (const QString &process : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile environment(u"/proc/"_s + process + u"/environ"_s);
        if (environment.open(QIODevice::ReadOnly) &&
            environment.readAll().contains(QFile::encodeName(folder)))
            found.append(process.toLongLong());
    }
    return found;
}

void setVariable(const char *name, const QString &value)
{
    qputenv(name, QFile::encodeName(value));
}
} // namespace

VirtualDesktop::VirtualDesktop() : VirtualDesktop(Options()) {}

VirtualDesktop::VirtualDesktop(Options options) : m_options(std::move(options))
{
    const auto folder = [this](const char *variable, const QString &entry) {
        QDir(m_folder.path()).mkpath(entry);
        setVariable(variable, m_folder.filePath(entry));
    };
    folder("HOME", u"home"_s);
    folder("XDG_CONFIG_HOME", u"home/.config"_s);
    folder("XDG_CACHE_HOME", u"home/.cache"_s);
    folder("XDG_DATA_HOME", u"home/.local/share"_s);
    folder("XDG_STATE_HOME", u"home/.local/state"_s);
    folder("XDG_RUNTIME_DIR", u"run"_s);
    // Without the machine's applications, but with its file types, themes and settings schemas,
    // which programs need.
    folder("XDG_DATA_DIRS", u"share"_s);
    for (const QString &part :
         QDir(u"/usr/share"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        if (part != u"applications") {
            QFile::link(u"/usr/share/"_s + part, m_folder.filePath(u"share/"_s) + part);
        }
    }
    QDir(m_folder.path()).mkpath(u"share/applications"_s);
    QFile::setPermissions(m_folder.filePath(u"run"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    setVariable("XDG_CURRENT_DESKTOP", m_options.desktop);
    qputenv("GSETTINGS_BACKEND", "memory");
    qputenv("NO_AT_BRIDGE", "1");
    qputenv("LC_ALL", "C.UTF-8");
    // There is no graphics card, and looking for one takes applications a second.
    qputenv("LIBGL_ALWAYS_SOFTWARE", "1");
    qputenv("GSK_RENDERER", "cairo");
    for (const char *name :
         {"WAYLAND_DISPLAY", "DESKTOP_STARTUP_ID", "QT_QPA_PLATFORM", "GDK_BACKEND", "LANGUAGE",
          "DBUS_SYSTEM_BUS_ADDRESS", "XDG_SESSION_TYPE"})
        qunsetenv(name);
    for (const auto &[name, value] : m_options.environment.asKeyValueRange())
        qputenv(name.constData(), value);
    for (const auto &[entry, content] : m_options.files.asKeyValueRange())
        write(entry, content);
    startServer();
    startBus();
    if (m_options.hasSystemBus)
        startSystemBus();
    setScale();
    startWindowManager();
    for (const QStringList &companion : m_options.companions)
        start(companion.first(), companion.sliced(1));
}

VirtualDesktop::~VirtualDesktop()
{
    while (!m_processes.empty()) {
        end(m_processes.back());
        m_processes.pop_back();
    }
    endServer();
    endRest();
}

QString VirtualDesktop::home(const QString &entry) const
{
    return QDir::cleanPath(m_folder.filePath(u"home/"_s) + entry);
}

void VirtualDesktop::write(const QString &entry, const QByteArray &content) const
{
    QDir().mkpath(QFileInfo(home(entry)).path());
    QFile file(home(entry));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written.", qPrintable(file.fileName()));
}

QString VirtualDesktop::writeScript(const QString &entry, const QByteArray &body) const
{
    write(entry, "#!/bin/sh\n" + body);
    QFile::setPermissions(home(entry), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return home(entry);
}

QByteArray VirtualDesktop::read(const QString &entry) const
{
    QFile file(home(entry));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void VirtualDesktop::install(const QString &entry, const QStringList &contentTypes)
{
    const QString source = u"/usr/share/applications/"_s + entry;
    if (!QFile::exists(source))
        qFatal("%s is not installed.", qPrintable(entry));
    QFile::link(source, m_folder.filePath(u"share/applications/"_s) + entry);
    // Some applications are started by the bus.
    const QString service = entry.chopped(8) + u".service"_s;
    if (QFile::exists(u"/usr/share/dbus-1/services/"_s + service))
        QFile::link(u"/usr/share/dbus-1/services/"_s + service,
                    m_folder.filePath(u"services/"_s) + service);
    setDefault(entry, contentTypes);
}

void VirtualDesktop::setDefault(const QString &entry, const QStringList &contentTypes)
{
    for (const QString &type : contentTypes)
        m_defaults[type] = entry;
    QByteArray list = "[Default Applications]\n";
    for (const auto &[type, application] : m_defaults.asKeyValueRange())
        list += (type + u'=' + application + u'\n').toUtf8();
    write(u".config/mimeapps.list"_s, list);
}

void VirtualDesktop::uninstall(const QString &entry) const
{
    QFile::remove(m_folder.filePath(u"share/applications/"_s) + entry);
}

QList<qint64> VirtualDesktop::processes(const QString &program) const
{
    QList<qint64> found;
    for (const qint64 process : processesOf(m_folder.path())) {
        const QString link = u"/proc/%1/exe"_s.arg(process);
        if (QFile::symLinkTarget(link).endsWith(program))
            found.append(process);
    }
    return found;
}

QProcess &VirtualDesktop::start(const QString &program, const QStringList &arguments)
{
    QProcess &process = m_processes.emplace_back();
    bindToUs(process);
    process.setStandardErrorFile(home(u".errors"_s), QProcess::Append);
    process.start(program, arguments);
    if (!process.waitForStarted(eventually))
        qFatal("%s is not installed.", qPrintable(program));
    return process;
}

void VirtualDesktop::enableAccessibility()
{
    qunsetenv("NO_AT_BRIDGE");
    for (const QStringList &request :
         {QStringList{u"org.a11y.Bus.GetAddress"_s},
          QStringList{u"org.freedesktop.DBus.Properties.Set"_s, u"string:org.a11y.Status"_s,
                      u"string:IsEnabled"_s, u"variant:boolean:true"_s}}) {
        QProcess asking;
        asking.start(u"dbus-send"_s, QStringList{u"--session"_s, u"--print-reply"_s,
                                                 u"--dest=org.a11y.Bus"_s, u"/org/a11y/bus"_s} +
                                         request);
        if (!asking.waitForFinished(eventually) || asking.exitCode() != 0)
            qFatal("No accessibility bus: %s", asking.readAllStandardError().constData());
    }
}

qint64 VirtualDesktop::server() const
{
    return m_server->processId();
}

void VirtualDesktop::endServer()
{
    if (m_server)
        end(*m_server);
    m_server.reset();
}

void VirtualDesktop::endRest() const
{
    for (const qint64 process : processesOf(m_folder.path())) {
        if (process != getpid())
            ::kill(static_cast<pid_t>(process), SIGKILL);
    }
}

void VirtualDesktop::startServer()
{
    m_server = std::make_unique<QProcess>();
    bindToUs(*m_server);
    m_server->setStandardErrorFile(QProcess::nullDevice());
    // A display number derived from the process id: the first free one could be taken by another
    // desktop while the server is ended.
    const QString display = u":%1"_s.arg(1000 + QCoreApplication::applicationPid() % 50000);
    QStringList arguments{display};
    arguments << u"-displayfd"_s << u"1"_s << u"-screen"_s << u"0"_s << m_options.screen
              << u"-nolisten"_s << u"tcp"_s << u"-noreset"_s << m_options.serverArguments;
    m_server->start(u"Xvfb"_s, arguments);
    if (!m_server->waitForStarted(eventually))
        qFatal("Xvfb is not installed.");
    firstLine(*m_server);
    setVariable("DISPLAY", display);
}

void VirtualDesktop::startBus()
{
    // The machine's configuration would allow it to start any installed service.
    const QString services = m_folder.filePath(u"services"_s);
    QDir().mkdir(services);
    QStringList allowed = m_options.services + QStringList{u"org.a11y.Bus"_s};
    if (m_options.windowManager.first() == u"xfwm4")
        allowed.append(u"org.xfce.Xfconf"_s); // its settings, without which it exits
    for (const QString &service : std::as_const(allowed)) {
        const QString file = u'/' + service + u".service"_s;
        QFile::link(u"/usr/share/dbus-1/services"_s + file, services + file);
    }
    QFile configuration(m_folder.filePath(u"bus.conf"_s));
    if (!configuration.open(QIODevice::WriteOnly))
        qFatal("%s cannot be written.", qPrintable(configuration.fileName()));
    configuration.write("<busconfig><type>session</type><auth>EXTERNAL</auth><listen>unix:dir=" +
                        QFile::encodeName(m_folder.filePath(u"run"_s)) + "</listen><servicedir>" +
                        QFile::encodeName(services) +
                        "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
                        "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
                        "</policy></busconfig>\n");
    configuration.close();
    QProcess &bus =
        start(u"dbus-daemon"_s, {u"--config-file="_s + configuration.fileName(), u"--nofork"_s,
                                 u"--nopidfile"_s, u"--print-address"_s});
    qputenv("DBUS_SESSION_BUS_ADDRESS", firstLine(bus));
}

void VirtualDesktop::startSystemBus()
{
    QProcess &bus = start(u"dbus-daemon"_s,
                          {u"--session"_s, u"--address=unix:dir="_s + m_folder.filePath(u"run"_s),
                           u"--nofork"_s, u"--nopidfile"_s, u"--print-address"_s});
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", firstLine(bus));
    start(u"/usr/bin/python3"_s,
          {u"-m"_s, u"dbusmock"_s, u"--system"_s, u"--template"_s, u"logind"_s});
    // It is there before the programs that need it.
    QProcess waiting;
    waiting.start(u"gdbus"_s,
                  {u"wait"_s, u"--system"_s, u"--timeout"_s, u"20"_s, u"org.freedesktop.login1"_s});
    if (!waiting.waitForFinished(eventually) || waiting.exitCode() != 0)
        qFatal("There is no login manager.");
}

void VirtualDesktop::setScale() const
{
    if (m_options.scale == 1)
        return;
    write(u".Xresources"_s, "Xft.dpi: " + QByteArray::number(qRound(96 * m_options.scale)) + '\n');
    QProcess loading;
    loading.start(u"xrdb"_s, {u"-nocpp"_s, u"-load"_s, home(u".Xresources"_s)});
    if (!loading.waitForFinished(eventually) || loading.exitCode() != 0)
        qFatal("xrdb does not work.");
}

// Its default configuration uses the keys that summon the assistant.
void VirtualDesktop::configureOpenbox() const
{
    QFile usual(u"/etc/xdg/openbox/rc.xml"_s);
    if (!usual.open(QIODevice::ReadOnly))
        qFatal("openbox is not installed.");
    QString configuration = QString::fromUtf8(usual.readAll());
    static const QRegularExpression binding(u"<keybind key=\"A-space\">.*?</keybind>"_s,
                                            QRegularExpression::DotMatchesEverythingOption);
    configuration.remove(binding);
    write(u".config/openbox/rc.xml"_s, configuration.toUtf8());
}

void VirtualDesktop::startWindowManager()
{
    const QString program = m_options.windowManager.first();
    const bool isOpenbox = program == u"openbox";
    if (isOpenbox)
        configureOpenbox();
    start(program, m_options.windowManager.sliced(1));
    isOpenbox ? waitForOpenbox() : waitForWindowManager();
}

// It loses requests of windows until its event loop runs, which is after it has announced itself.
// So it is requested to change the desktop until it does, and then back.
void VirtualDesktop::waitForOpenbox() const
{
    const Connection connection(xcb_connect(nullptr, nullptr), &xcb_disconnect);
    xcb_ewmh_connection_t ewmh{};
    if (!xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection.get(), &ewmh), nullptr))
        qFatal("The X server does not answer.");
    for (const uint32_t wanted : {1U, 0U}) {
        uint32_t current = 2;
        for (const QDeadlineTimer limit(eventually); current != wanted;) {
            if (limit.hasExpired())
                qFatal("openbox did not start.");
            xcb_ewmh_request_change_current_desktop(&ewmh, 0, wanted, XCB_CURRENT_TIME);
            xcb_flush(connection.get());
            QThread::msleep(10);
            xcb_ewmh_get_current_desktop_reply(&ewmh, xcb_ewmh_get_current_desktop(&ewmh, 0),
                                               &current, nullptr);
        }
    }
    xcb_ewmh_connection_wipe(&ewmh);
}

// Not all have a second desktop, but all list the windows that they manage.
void VirtualDesktop::waitForWindowManager() const
{
    const Connection connection(xcb_connect(nullptr, nullptr), &xcb_disconnect);
    xcb_ewmh_connection_t ewmh{};
    if (!xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection.get(), &ewmh), nullptr))
        qFatal("The X server does not answer.");
    const xcb_screen_t *const screen =
        xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    const auto managed = [&] {
        uint32_t count = 0;
        xcb_ewmh_get_windows_reply_t list{};
        if (xcb_ewmh_get_client_list_reply(&ewmh, xcb_ewmh_get_client_list(&ewmh, 0), &list,
                                           nullptr)) {
            count = list.windows_len;
            xcb_ewmh_get_windows_reply_wipe(&list);
        }
        return count;
    };
    const QDeadlineTimer limit(eventually);
    const auto waitFor = [&](const auto &isSo) {
        while (!isSo()) {
            if (limit.hasExpired())
                qFatal("%s did not start.", qPrintable(m_options.windowManager.first()));
            QThread::msleep(10);
        }
    };
    const auto isThere = [&] {
        xcb_window_t check = XCB_WINDOW_NONE;
        return xcb_ewmh_get_supporting_wm_check_reply(
                   &ewmh, xcb_ewmh_get_supporting_wm_check(&ewmh, screen->root), &check, nullptr) !=
                   0 &&
               check != XCB_WINDOW_NONE;
    };
    waitFor(isThere);
    const uint32_t before = managed();
    const xcb_window_t window = xcb_generate_id(connection.get());
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(connection.get(), window);
    xcb_flush(connection.get());
    waitFor([&] { return managed() > before; });
    xcb_destroy_window(connection.get(), window);
    xcb_flush(connection.get());
    waitFor([&] { return managed() == before; });
    xcb_ewmh_connection_wipe(&ewmh);
}
