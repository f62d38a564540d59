#include "tests/support/Session.h"

#include <QFile>
#include <QRegularExpression>
#include <QSize>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {
// The portal tells the colours from GNOME's settings on all desktops, if they have no own part.
const QStringList portal{u"org.freedesktop.portal.Desktop"_s,
                         u"org.freedesktop.impl.portal.desktop.gtk"_s,
                         u"org.freedesktop.impl.portal.PermissionStore"_s};
const QString notifications = u"org.xfce.xfce4-notifyd.Notifications"_s;

Session xfce(double scale)
{
    Session session{.drawsShadows = true, .bindsKeys = true, .bars = 2, .bar = u"xfce4-panel"_s};
    session.options.windowManager = {u"xfwm4"_s, u"--compositor=on"_s};
    session.options.desktop = u"XFCE"_s;
    session.options.companions = {{u"xfsettingsd"_s, u"--no-daemon"_s},
                                  {u"xfce4-panel"_s, u"--disable-wm-check"_s}};
    session.options.services = {notifications};
    session.options.files = {
        {u".config/xfce4/xfconf/xfce-perchannel-xml/xsettings.xml"_s,
         "<?xml version=\"1.0\"?><channel name=\"xsettings\" version=\"1.0\"><property "
         "name=\"Xft\" type=\"empty\"><property name=\"DPI\" type=\"int\" value=\"" +
             QByteArray::number(qRound(96 * scale)) + "\"/></property></channel>"}};
    return session;
}

Session kde()
{
    Session session{.drawsShadows = true, .blurs = true, .bindsKeys = true};
    session.options.windowManager = {u"kwin_x11"_s};
    // By default, it does so with a graphics card only.
    session.options.files = {{u".config/kwinrc"_s, "[Plugins]\nblurEnabled=true\n"}};
    session.options.desktop = u"KDE"_s;
    session.options.companions = {{u"kglobalaccel5"_s}};
    session.options.services = {notifications};
    session.options.environment = {{"KWIN_COMPOSE", "O2"}, {"KDE_FULL_SESSION", "true"}};
    return session;
}

Session gnome()
{
    Session session{.drawsShadows = true,
                    .bindsKeys = true,
                    .showsAttention = false,
                    .startsWithOverview = true};
    session.options.windowManager = {u"gnome-shell"_s, u"--x11"_s, u"--sm-disable"_s};
    session.options.desktop = u"GNOME"_s;
    session.options.companions = {{u"/usr/libexec/gsd-media-keys"_s}};
    session.options.services = {u"org.gnome.Shell.Notifications"_s};
    session.options.hasSystemBus = true;
    session.options.environment = {{"XDG_SESSION_TYPE", "x11"}};
    return session;
}

Session mate(double scale)
{
    Session session{.drawsShadows = true,
                    .bindsKeys = true,
                    .showsAttention = false,
                    .bars = 2,
                    .bar = u"mate-panel"_s};
    session.options.windowManager = {u"marco"_s, u"--composite"_s};
    session.options.desktop = u"MATE"_s;
    session.options.companions = {{u"mate-settings-daemon"_s}, {u"mate-panel"_s}};
    // Its settings daemon reads the keys of commands from there only.
    session.options.environment = {{"GSETTINGS_BACKEND", "dconf"}};
    session.options.serverArguments = {u"-dpi"_s, QString::number(qRound(96 * scale))};
    session.options.services = {u"ca.desrt.dconf"_s,
                                u"org.freedesktop.mate.Notifications"_s,
                                u"org.mate.SettingsDaemon"_s,
                                u"org.mate.panel.applet.ClockAppletFactory"_s,
                                u"org.mate.panel.applet.NotificationAreaAppletFactory"_s,
                                u"org.mate.panel.applet.WnckletFactory"_s};
    return session;
}

// The configuration for new users, without the programs that it starts and the question for the
// modifier, whose usual answer this is.
QByteArray i3Configuration()
{
    QFile usual(u"/etc/i3/config"_s);
    if (!usual.open(QIODevice::ReadOnly))
        qFatal("i3 is not installed.");
    QString configuration = QString::fromUtf8(usual.readAll());
    static const QRegularExpression programs(u"^exec .*$"_s, QRegularExpression::MultilineOption);
    return configuration.remove(programs).replace(u"Mod1"_s, u"Mod4"_s).toUtf8();
}

Session i3()
{
    Session session{.showsAttention = false, .bars = 1, .bar = u"i3bar"_s};
    session.options.windowManager = {u"i3"_s};
    session.options.desktop = u"i3"_s;
    session.options.files = {{u".config/i3/config"_s, i3Configuration()}};
    session.options.services = {notifications};
    return session;
}

Session openbox()
{
    Session session{};
    session.options.companions = {{u"picom"_s, u"--backend"_s, u"xrender"_s}};
    session.options.services = {notifications};
    return session;
}

Session named(const QString &name, double scale)
{
    if (name == u"XFCE")
        return xfce(scale);
    if (name == u"KDE")
        return kde();
    if (name == u"GNOME")
        return gnome();
    if (name == u"MATE")
        return mate(scale);
    if (name == u"i3")
        return i3();
    return openbox();
}
} // namespace

Session Session::find(const QString &name, QSize screen, double scale)
{
    Session session = named(name, scale);
    session.name = name;
    session.options.screen = u"%1x%2x24"_s.arg(screen.width()).arg(screen.height());
    session.options.scale = scale;
    session.options.services += portal;
    // Shared by all programs of the session.
    if (!session.options.environment.contains("GSETTINGS_BACKEND"))
        session.options.environment["GSETTINGS_BACKEND"] = "keyfile";
    return session;
}

QStringList Session::names()
{
    return {u"XFCE"_s, u"KDE"_s, u"GNOME"_s, u"MATE"_s, u"i3"_s, u"openbox"_s};
}

QString Session::missingProgram() const
{
    QStringList programs{options.windowManager.first(), u"/usr/libexec/xdg-desktop-portal-gtk"_s};
    for (const QStringList &companion : options.companions)
        programs << companion.first();
    for (const QString &program : std::as_const(programs)) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            return program;
    }
    for (const QString &service : options.services) {
        const QString file = u"/usr/share/dbus-1/services/"_s + service + u".service"_s;
        if (!QFile::exists(file))
            return file;
    }
    return {};
}
