// The look as the real settings portal tells it, over two backends in processes of their own: this
// process must not know the portal's types by more than the code under test does.

#include "platform/Appearance.h"
#include "platform/linux/Capabilities.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QMap>
#include <QSocketNotifier>
#include <QTest>

#include <memory>

#include <unistd.h>

using namespace Qt::StringLiterals;
using Settings = QMap<QString, QVariantMap>;

namespace {
const QString group = u"org.freedesktop.appearance"_s;
const QString key = u"color-scheme"_s;

constexpr auto backendArgument = "--backend";
const QString backendName = u"org.freedesktop.impl.portal.desktop."_s;
} // namespace

/// A backend that knows the colour scheme; each byte on its standard input is another one.
class Backend final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.impl.portal.Settings")
    Q_PROPERTY(uint version READ version CONSTANT)

public:
    Backend(const QString &name, uint scheme) : m_scheme(scheme)
    {
        qDBusRegisterMetaType<Settings>();
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.registerObject(u"/org/freedesktop/portal/desktop"_s, this,
                           QDBusConnection::ExportScriptableContents |
                               QDBusConnection::ExportAllProperties);
        if (!bus.registerService(backendName + name))
            qFatal("The name is taken.");
        connect(&m_input, &QSocketNotifier::activated, this, &Backend::change);
    }

    [[nodiscard]] static uint version() { return 1; }

public Q_SLOTS:
    Q_SCRIPTABLE Settings ReadAll(const QStringList &) const
    {
        return {{group, {{key, m_scheme}}}};
    }
    Q_SCRIPTABLE QDBusVariant Read(const QString &, const QString &) const
    {
        return QDBusVariant(m_scheme);
    }

Q_SIGNALS:
    Q_SCRIPTABLE void SettingChanged(const QString &group, const QString &key,
                                     const QDBusVariant &value);

private:
    void change()
    {
        char scheme = '0';
        if (::read(STDIN_FILENO, &scheme, 1) != 1)
            return QCoreApplication::quit();
        m_scheme = static_cast<uint>(scheme - '0');
        Q_EMIT SettingChanged(group, key, QDBusVariant(m_scheme));
    }

    uint m_scheme;
    QSocketNotifier m_input{STDIN_FILENO, QSocketNotifier::Read};
};

class tst_LinuxAppearancePortal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theDesktopsOwnBackendWinsAndIsFollowed();

private:
    /// A backend that this desktop uses, or another one does.
    QProcess &startBackend(const QString &name, const QString &desktop, uint scheme);

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxAppearancePortal::init()
{
    m_desktop = std::make_unique<VirtualDesktop>();
}

void tst_LinuxAppearancePortal::cleanup()
{
    qunsetenv("XDG_DESKTOP_PORTAL_DIR");
    m_desktop.reset();
}

QProcess &tst_LinuxAppearancePortal::startBackend(const QString &name, const QString &desktop,
                                                  uint scheme)
{
    m_desktop->write(u"portals/%1.portal"_s.arg(name),
                     u"[portal]\nDBusName=%1%2\nInterfaces=org.freedesktop.impl.portal.Settings\n"
                     "UseIn=%3\n"_s.arg(backendName, name, desktop)
                         .toUtf8());
    return m_desktop->start(QCoreApplication::applicationFilePath(),
                            {QString::fromLatin1(backendArgument), name, QString::number(scheme)});
}

void tst_LinuxAppearancePortal::theDesktopsOwnBackendWinsAndIsFollowed()
{
    constexpr uint dark = 1;
    constexpr uint light = 2;
    QProcess &own = startBackend(u"own"_s, u"Test"_s, dark);
    startBackend(u"zother"_s, u"Other"_s, light);
    qputenv("XDG_DESKTOP_PORTAL_DIR", m_desktop->home(u"portals"_s).toUtf8());
    QDBusConnectionInterface &bus = *QDBusConnection::sessionBus().interface();
    const auto isThere = [&bus](const QString &name) {
        return bus.isServiceRegistered(name).value();
    };
    QTRY_VERIFY(isThere(backendName + u"own"_s));
    QTRY_VERIFY(isThere(backendName + u"zother"_s));
    m_desktop->start(u"/usr/libexec/xdg-desktop-portal"_s, {});
    QTRY_VERIFY(isThere(u"org.freedesktop.portal.Desktop"_s));

    const auto appearance = makeLinuxAppearance();
    QTRY_VERIFY(appearance->look().isDark);
    // The user switches while the panel is open, to and fro.
    own.write("2");
    QTRY_VERIFY(!appearance->look().isDark);
    own.write("1");
    QTRY_VERIFY(appearance->look().isDark);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc == 4 && QByteArray(argv[1]) == backendArgument) {
        const Backend backend(QString::fromLatin1(argv[2]), QByteArray(argv[3]).toUInt());
        return QCoreApplication::exec();
    }
    tst_LinuxAppearancePortal test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_LinuxAppearancePortal.moc"
