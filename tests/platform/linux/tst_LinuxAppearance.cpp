#include "platform/Appearance.h"
#include "platform/linux/Capabilities.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QMap>
#include <QTest>

using namespace Qt::StringLiterals;
using Settings = QMap<QString, QVariantMap>;

namespace {
const QString shared = u"org.freedesktop.appearance"_s;
const QString gnome = u"org.gnome.desktop.interface"_s;
const QString kde = u"org.kde.kdeglobals.KDE"_s;
} // namespace

/// A colour as the portal's three numbers.
struct PortalColor
{
    double red = 0;
    double green = 0;
    double blue = 0;
};
Q_DECLARE_METATYPE(PortalColor)

QDBusArgument &operator<<(QDBusArgument &argument, const PortalColor &color)
{
    argument.beginStructure();
    argument << color.red << color.green << color.blue;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalColor &color)
{
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    return argument; // NOLINT(bugprone-return-const-ref-from-parameter): what Qt expects
}

/// A fake portal on its own connection.
class Portal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit Portal(Settings settings)
        : m_settings(std::move(settings))
        , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s))
    {
        m_bus.registerObject(u"/org/freedesktop/portal/desktop"_s, this,
                             QDBusConnection::ExportScriptableContents);
        if (!m_bus.registerService(u"org.freedesktop.portal.Desktop"_s))
            qFatal("There is a portal already.");
    }
    ~Portal() override
    {
        m_bus.unregisterService(u"org.freedesktop.portal.Desktop"_s);
        QDBusConnection::disconnectFromBus(u"portal"_s);
    }

    void change(const QString &group, const QString &key, const QVariant &value)
    {
        Q_EMIT SettingChanged(group, key, QDBusVariant(value));
    }

public Q_SLOTS:
    Q_SCRIPTABLE Settings ReadAll(const QStringList &groups) const
    {
        Settings found;
        for (const QString &group : groups) {
            if (m_settings.contains(group))
                found.insert(group, m_settings.value(group));
        }
        return found;
    }

Q_SIGNALS:
    Q_SCRIPTABLE void SettingChanged(const QString &group, const QString &key,
                                     const QDBusVariant &value);

private:
    const Settings m_settings;
    QDBusConnection m_bus;
};

class tst_LinuxAppearance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void withoutAPortalTheLookIsLightWithMotion();
    void thePortalTellsTheLook_data();
    void thePortalTellsTheLook();
    void changesAreFollowed();
    void anObserverHearsOnlyOfChanges();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxAppearance::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    qDBusRegisterMetaType<Settings>();
    qDBusRegisterMetaType<PortalColor>();
}

void tst_LinuxAppearance::withoutAPortalTheLookIsLightWithMotion()
{
    const auto appearance = makeLinuxAppearance();
    QCOMPARE(appearance->look(), Look());
}

void tst_LinuxAppearance::thePortalTellsTheLook_data()
{
    QTest::addColumn<Settings>("settings");
    QTest::addColumn<bool>("isDark");
    QTest::addColumn<bool>("hasReducedMotion");
    QTest::addColumn<QString>("accent");

    const auto row = [](const char *name, const Settings &settings, bool isDark, bool isCalm,
                        const QString &accent = {}) {
        QTest::newRow(name) << settings << isDark << isCalm << accent;
    };
    row("dark", {{shared, {{u"color-scheme"_s, 1U}}}}, true, false);
    row("light", {{shared, {{u"color-scheme"_s, 2U}}}}, false, false);
    row("no preference", {{shared, {{u"color-scheme"_s, 0U}}}}, false, false);
    row("nonsense", {{shared, {{u"color-scheme"_s, u"dark"_s}}}}, false, false);
    row("reduced motion", {{shared, {{u"reduced-motion"_s, 1U}}}}, false, true);
    row("GNOME without animations", {{gnome, {{u"enable-animations"_s, false}}}}, false, true);
    row("GNOME with animations", {{gnome, {{u"enable-animations"_s, true}}}}, false, false);
    row("KDE without animations", {{kde, {{u"AnimationDurationFactor"_s, u"0"_s}}}}, false, true);
    row("KDE with nonsense", {{kde, {{u"AnimationDurationFactor"_s, u"fast"_s}}}}, false, false);
    row("KDE with slow animations", {{kde, {{u"AnimationDurationFactor"_s, u"2"_s}}}}, false,
        false);
    row("the shared setting has the last word",
        {{shared, {{u"reduced-motion"_s, 0U}}}, {gnome, {{u"enable-animations"_s, false}}}}, false,
        false);
    row("an accent", {{shared, {{u"accent-color"_s, QVariant::fromValue(PortalColor{1, 0.5, 0})}}}},
        false, false, u"1 0.5 0"_s);
    row("an accent that is none",
        {{shared, {{u"accent-color"_s, QVariant::fromValue(PortalColor{-1, -1, -1})}}}}, false,
        false);
    row("an accent of another type", {{shared, {{u"accent-color"_s, u"red"_s}}}}, false, false);
}

void tst_LinuxAppearance::thePortalTellsTheLook()
{
    QFETCH(Settings, settings);
    QFETCH(const bool, isDark);
    QFETCH(const bool, hasReducedMotion);
    QFETCH(const QString, accent);
    Look expected{.isDark = isDark, .hasReducedMotion = hasReducedMotion};
    // One more setting, to detect that all changes have arrived.
    QVariantMap &group = settings[shared];
    if (group.contains(u"accent-color"_s)) {
        group.insert(u"color-scheme"_s, 1U);
        expected.isDark = true;
        if (!accent.isEmpty())
            expected.accent = Look::Color{1, 0.5, 0};
    } else {
        group.insert(u"accent-color"_s, QVariant::fromValue(PortalColor{0, 0.25, 1}));
        expected.accent = Look::Color{0, 0.25, 1};
    }
    const Portal portal(settings);
    const auto appearance = makeLinuxAppearance();
    QCOMPARE(appearance->look(), Look()); // the portal is not waited for
    QTRY_COMPARE(appearance->look(), expected);
}

void tst_LinuxAppearance::changesAreFollowed()
{
    Portal portal({{shared, {{u"color-scheme"_s, 1U}}}});
    const auto appearance = makeLinuxAppearance();
    int changes = 0;
    appearance->observe([&] { ++changes; });
    QTRY_VERIFY(appearance->look().isDark);
    QCOMPARE(changes, 1);
    portal.change(shared, u"color-scheme"_s, 2U);
    QTRY_VERIFY(!appearance->look().isDark);
    portal.change(gnome, u"enable-animations"_s, false);
    QTRY_VERIFY(appearance->look().hasReducedMotion);
    QCOMPARE(changes, 3);
}

void tst_LinuxAppearance::anObserverHearsOnlyOfChanges()
{
    Portal portal({{shared, {{u"color-scheme"_s, 1U}}}});
    const auto appearance = makeLinuxAppearance();
    int changes = 0;
    appearance->observe([&] { ++changes; });
    QTRY_VERIFY(appearance->look().isDark);
    portal.change(shared, u"color-scheme"_s, 1U);
    portal.change(u"org.example"_s, u"color-scheme"_s, 2U);
    portal.change(shared, u"contrast"_s, 1U);
    portal.change(shared, u"reduced-motion"_s, 1U);
    QTRY_VERIFY(appearance->look().hasReducedMotion);
    QCOMPARE(changes, 2);
}

QTEST_GUILESS_MAIN(tst_LinuxAppearance)
#include "tst_LinuxAppearance.moc"
