#include "platform/linux/Capabilities.h"

#include "platform/Appearance.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMap>
#include <QObject>
#include <QVariant>

#include <gio/gio.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
using Settings = QMap<QString, QVariantMap>;

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString portalInterface = u"org.freedesktop.portal.Settings"_s;

const QString appearance = u"org.freedesktop.appearance"_s;
const QString gnome = u"org.gnome.desktop.interface"_s;
const QString kde = u"org.kde.kdeglobals.KDE"_s;

constexpr uint prefersDark = 1;
constexpr uint prefersReducedMotion = 1;

// Components outside of 0 to 1 mean that no colour is set.
std::optional<Look::Color> color(const QVariant &value)
{
    if (!value.canConvert<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"(ddd)")
        return std::nullopt;
    Look::Color result;
    argument.beginStructure();
    argument >> result.red >> result.green >> result.blue;
    argument.endStructure();
    for (const double part : {result.red, result.green, result.blue}) {
        const bool isPart = part >= 0 && part <= 1; // false for values that are not numbers
        if (!isPart)
            return std::nullopt;
    }
    return result;
}

// The groups of settings by name. A portal with several backends may return a group for each of
// them: the desktop's own is the first.
Settings read(const QDBusArgument &argument)
{
    Settings settings;
    if (argument.currentSignature() != u"a{sa{sv}}")
        return settings;
    argument.beginMap();
    while (!argument.atEnd()) {
        QString group;
        QVariantMap keys;
        argument.beginMapEntry();
        argument >> group >> keys;
        argument.endMapEntry();
        QVariantMap &known = settings[group];
        for (auto key = keys.begin(); key != keys.end(); ++key) {
            if (!known.contains(key.key()))
                known.insert(key.key(), key.value());
        }
    }
    argument.endMap();
    return settings;
}

bool isZero(const QVariant &value)
{
    bool isNumber = false;
    return value.toDouble(&isNumber) == 0 && isNumber;
}

// A setting of GNOME as text, if its schema is installed: reading an unknown one aborts the
// program.
std::optional<QString> localSetting(const char *key)
{
    GSettingsSchemaSource *const source = g_settings_schema_source_get_default();
    GSettingsSchema *const schema =
        source ? g_settings_schema_source_lookup(source, gnome.toUtf8().constData(), TRUE)
               : nullptr;
    if (!schema)
        return std::nullopt;
    std::optional<QString> result;
    if (g_settings_schema_has_key(schema, key)) {
        const GObjectPtr<GSettings> settings(g_settings_new_full(schema, nullptr, nullptr));
        GVariant *const value = g_settings_get_value(settings.get(), key);
        gchar *const text = g_variant_print(value, FALSE);
        result = QString::fromUtf8(text);
        g_free(text);
        g_variant_unref(value);
    }
    g_settings_schema_unref(schema);
    return result;
}

// The settings that desktops share: at first from GSettings if its schema is installed, then from
// the desktop portal, which most desktops have and which reports changes.
class LinuxAppearance final : public QObject, public Appearance
{
    Q_OBJECT

public:
    Look look() override;
    void observe(std::function<void()> changed) override;
    /// Icon themes differ between desktops, and none has all symbols in one style.
    QByteArray symbol(const QString &, int) override { return {}; }

private Q_SLOTS:
    void takePortalSetting(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void start();
    void askPortal();
    void take(const QString &group, const QString &key, const QVariant &value);

    Look m_look;
    bool m_hasStarted = false;
    std::function<void()> m_changed;
};
} // namespace

Look LinuxAppearance::look()
{
    start();
    return m_look;
}

void LinuxAppearance::observe(std::function<void()> changed)
{
    m_changed = std::move(changed);
    start();
}

void LinuxAppearance::start()
{
    if (std::exchange(m_hasStarted, true))
        return;
    m_look.isDark = localSetting("color-scheme") == u"'prefer-dark'";
    m_look.hasReducedMotion = localSetting("enable-animations") == u"false";
    askPortal();
}

void LinuxAppearance::askPortal()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // Needed to connect to the signal, which has an argument of this type.
    qRegisterMetaType<QDBusVariant>();
    bus.connect(portalService, portalPath, portalInterface, u"SettingChanged"_s, this,
                SLOT(takePortalSetting(QString, QString, QDBusVariant)));
    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, u"ReadAll"_s);
    call << QStringList{appearance, gnome, kde};
    auto *const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        const QVariant answer = reply.arguments().value(0);
        if (reply.type() != QDBusMessage::ReplyMessage || !answer.canConvert<QDBusArgument>())
            return;
        const Settings settings = read(answer.value<QDBusArgument>());
        // Desktop-specific keys first: the shared ones override them.
        for (const QString &group : {kde, gnome, appearance}) {
            const QVariantMap keys = settings.value(group);
            for (auto key = keys.begin(); key != keys.end(); ++key)
                take(group, key.key(), key.value());
        }
    });
}

void LinuxAppearance::takePortalSetting(const QString &group, const QString &key,
                                        const QDBusVariant &value)
{
    take(group, key, value.variant());
}

void LinuxAppearance::take(const QString &group, const QString &key, const QVariant &value)
{
    Look look = m_look;
    if (group == appearance && key == u"color-scheme")
        look.isDark = value.toUInt() == prefersDark;
    else if (group == appearance && key == u"accent-color")
        look.accent = color(value);
    else if (group == appearance && key == u"reduced-motion")
        look.hasReducedMotion = value.toUInt() == prefersReducedMotion;
    else if (group == gnome && key == u"enable-animations")
        look.hasReducedMotion = !value.toBool();
    else if (group == kde && key == u"AnimationDurationFactor")
        look.hasReducedMotion = isZero(value);
    if (std::exchange(m_look, look) != look && m_changed)
        m_changed();
}

std::unique_ptr<Appearance> makeLinuxAppearance()
{
    return std::make_unique<LinuxAppearance>();
}

#include "LinuxAppearance.moc"
