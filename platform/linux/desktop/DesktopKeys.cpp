#include "platform/linux/desktop/DesktopKeys.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/DesktopEntry.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
constexpr int busLimit = 2000;

const QString title = u"Show or hide Quillon"_s;

class Settings
{
public:
    virtual ~Settings() = default;
    [[nodiscard]] virtual bool isBound() = 0;
    virtual void bind() = 0;
};

struct SchemaUnref
{
    void operator()(GSettingsSchema *schema) const { g_settings_schema_unref(schema); }
};

struct StringsFree
{
    void operator()(gchar **strings) const { g_strfreev(strings); }
};
using Strings = std::unique_ptr<gchar *, StringsFree>;

// Nothing if the schema of the settings is not installed, which would make GIO abort the program.
GObjectPtr<GSettings> settingsAt(const char *name, const char *path = nullptr)
{
    GSettingsSchemaSource *const source = g_settings_schema_source_get_default();
    if (!source)
        return nullptr;
    const std::unique_ptr<GSettingsSchema, SchemaUnref> schema(
        g_settings_schema_source_lookup(source, name, TRUE));
    if (!schema)
        return nullptr;
    return GObjectPtr<GSettings>(g_settings_new_full(schema.get(), nullptr, path));
}

QString text(GSettings *settings, const char *key)
{
    const GStringPtr value(g_settings_get_string(settings, key));
    return QString::fromUtf8(value.get());
}

[[noreturn]] void fail(const QString &desktop)
{
    throw PlatformError(u"%1 did not take the key."_s.arg(desktop));
}

// GNOME has a list of such keys, MATE uses everything in its folder.
class GSettingsKeys final : public Settings
{
public:
    struct Names
    {
        QString desktop;
        const char *list; ///< The schema of the list; none: there is no list.
        const char *entry;
        const char *path;
        const char *command;
        const char *title;
    };

    explicit GSettingsKeys(Names names) : m_names(std::move(names)) {}

    [[nodiscard]] bool isBound() override
    {
        const GObjectPtr<GSettings> entry = settingsAt(m_names.entry, m_names.path);
        return entry && !text(entry.get(), "binding").isEmpty() &&
               !text(entry.get(), m_names.command).isEmpty() && (!m_names.list || isListed());
    }

    void bind() override
    {
        const GObjectPtr<GSettings> entry = settingsAt(m_names.entry, m_names.path);
        const QByteArray command = DesktopKeys::toggleCommand().toUtf8();
        if (!entry ||
            !g_settings_set_string(entry.get(), m_names.title, title.toUtf8().constData()) ||
            !g_settings_set_string(entry.get(), m_names.command, command.constData()) ||
            !g_settings_set_string(entry.get(), "binding", "<Control><Alt>space"))
            fail(m_names.desktop);
        if (m_names.list && !isListed())
            addToList();
        g_settings_sync();
    }

private:
    static constexpr auto listKey = "custom-keybindings";

    [[nodiscard]] bool isListed() const
    {
        const GObjectPtr<GSettings> list = settingsAt(m_names.list);
        if (!list)
            return false;
        const Strings paths(g_settings_get_strv(list.get(), listKey));
        return g_strv_contains(paths.get(), m_names.path);
    }

    void addToList() const
    {
        const GObjectPtr<GSettings> list = settingsAt(m_names.list);
        if (!list)
            fail(m_names.desktop);
        const Strings paths(g_settings_get_strv(list.get(), listKey));
        std::vector<const gchar *> all;
        for (gchar **path = paths.get(); *path; ++path)
            all.push_back(*path);
        all.push_back(m_names.path);
        all.push_back(nullptr);
        if (!g_settings_set_strv(list.get(), listKey, all.data()))
            fail(m_names.desktop);
    }

    const Names m_names;
};

QDBusMessage call(QDBusMessage message, const QVariantList &arguments)
{
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, busLimit);
}

class XfconfKeys final : public Settings
{
public:
    [[nodiscard]] bool isBound() override
    {
        const QDBusMessage reply = ask(u"PropertyExists"_s, {});
        return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toBool();
    }

    void bind() override
    {
        const QVariant command = QVariant::fromValue(QDBusVariant(DesktopKeys::toggleCommand()));
        if (ask(u"SetProperty"_s, {command}).type() != QDBusMessage::ReplyMessage)
            fail(u"XFCE"_s);
    }

private:
    static QDBusMessage ask(const QString &method, const QVariantList &more)
    {
        const QVariantList property{u"xfce4-keyboard-shortcuts"_s,
                                    u"/commands/custom/<Primary><Alt>space"_s};
        return call(QDBusMessage::createMethodCall(u"org.xfce.Xfconf"_s, u"/org/xfce/Xfconf"_s,
                                                   u"org.xfce.Xfconf"_s, method),
                    property + more);
    }
};

// A key as KDE's interface has it: up to four keys that are pressed one after the other.
struct KeySequence
{
    QList<int> keys;
};

QDBusArgument &operator<<(QDBusArgument &argument, const KeySequence &sequence)
{
    argument.beginStructure();
    argument << sequence.keys;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, KeySequence &sequence)
{
    argument.beginStructure();
    argument >> sequence.keys;
    argument.endStructure();
    return argument; // NOLINT(bugprone-return-const-ref-from-parameter): what Qt expects
}

// KDE binds keys to desktop entries in a folder of their own.
class KdeKeys final : public Settings
{
public:
    KdeKeys()
    {
        qDBusRegisterMetaType<KeySequence>();
        qDBusRegisterMetaType<QList<KeySequence>>();
    }

    [[nodiscard]] bool isBound() override
    {
        return QFile::exists(entryPath()) && isKeyIn(ask(u"shortcutKeys"_s, {}));
    }

    void bind() override
    {
        QDir().mkpath(QFileInfo(entryPath()).path());
        QSaveFile file(entryPath());
        const QByteArray entry =
            "[Desktop Entry]\nType=Application\nName=Quillon\nNoDisplay=true\n"
            "StartupNotify=false\nX-KDE-GlobalAccel-CommandShortcut=true\n"
            "Exec=" +
            DesktopEntry::quoted(QCoreApplication::applicationFilePath()).toUtf8() + " --toggle\n";
        if (!file.open(QIODevice::WriteOnly) || file.write(entry) != entry.size() || !file.commit())
            fail(u"KDE"_s);
        // Set it now and for the next logins, whatever was set before.
        constexpr uint setPresent = 2;
        constexpr uint doNotLoad = 4;
        const QVariant wanted = QVariant::fromValue(QList<KeySequence>{{{key, 0, 0, 0}}});
        (void)ask(u"doRegister"_s, {});
        // Answers with the keys that are set now: none if another program has this one.
        if (!isKeyIn(ask(u"setShortcutKeys"_s, {wanted, setPresent | doNotLoad})))
            fail(u"KDE"_s);
    }

private:
    static constexpr int key = 0x04000000 | 0x08000000 | 0x20; // Control, Alt, Space

    static QString entryName() { return u"app.quillon.Quillon.toggle.desktop"_s; }

    static QString entryPath()
    {
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
               u"/kglobalaccel/"_s + entryName();
    }

    static bool isKeyIn(const QDBusMessage &reply)
    {
        const auto sequences = qdbus_cast<QList<KeySequence>>(reply.arguments().value(0));
        return std::ranges::any_of(
            sequences, [](const KeySequence &sequence) { return sequence.keys.value(0) == key; });
    }

    static QDBusMessage ask(const QString &method, const QVariantList &more)
    {
        const QStringList action{entryName(), u"_launch"_s, u"Quillon"_s, title};
        return call(QDBusMessage::createMethodCall(u"org.kde.kglobalaccel"_s, u"/kglobalaccel"_s,
                                                   u"org.kde.KGlobalAccel"_s, method),
                    QVariantList{action} + more);
    }
};

std::unique_ptr<Settings> settings()
{
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':');
    if (desktops.contains(u"GNOME"_s)) {
        return std::make_unique<GSettingsKeys>(GSettingsKeys::Names{
            u"GNOME"_s, "org.gnome.settings-daemon.plugins.media-keys",
            "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding",
            "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/quillon/", "command",
            "name"});
    }
    if (desktops.contains(u"MATE"_s)) {
        return std::make_unique<GSettingsKeys>(
            GSettingsKeys::Names{u"MATE"_s, nullptr, "org.mate.control-center.keybinding",
                                 "/org/mate/desktop/keybindings/quillon/", "action", "name"});
    }
    if (desktops.contains(u"XFCE"_s))
        return std::make_unique<XfconfKeys>();
    if (desktops.contains(u"KDE"_s))
        return std::make_unique<KdeKeys>();
    return nullptr;
}
} // namespace

QString DesktopKeys::name()
{
    return u"Ctrl+Alt+Space"_s;
}

QString DesktopKeys::toggleCommand()
{
    const QString program = QCoreApplication::applicationFilePath();
    const QString command = u"quillon"_s;
    const QFileInfo installed(QStandardPaths::findExecutable(command));
    return (installed.canonicalFilePath() == program ? command : program) + u" --toggle"_s;
}

bool DesktopKeys::canBind()
{
    return settings() != nullptr;
}

bool DesktopKeys::isBound()
{
    const std::unique_ptr<Settings> own = settings();
    return own && own->isBound();
}

void DesktopKeys::bind()
{
    if (const std::unique_ptr<Settings> own = settings())
        return own->bind();
    throw PlatformError(u"This desktop's settings for keys are not known."_s);
}
