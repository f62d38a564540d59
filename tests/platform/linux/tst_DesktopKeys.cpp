// The settings for keys of four desktops: their own schemas and their own servers.

#include "platform/PlatformError.h"
#include "platform/linux/desktop/DesktopKeys.h"
#include "platform/linux/desktop/GObjectPtr.h"
#include "platform/linux/desktop/LinuxInstance.h"
#include "platform/linux/desktop/StatusItem.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <array>
#include <optional>

using namespace Qt::StringLiterals;

namespace {
QString setting(const char *schema, const char *path, const char *key)
{
    const GObjectPtr<GSettings> settings(g_settings_new_with_path(schema, path));
    gchar *const value = g_settings_get_string(settings.get(), key);
    const QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QString output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}
// What this process answers to another one. A call that waits would keep it from answering.
QVariant answer(const QDBusConnection &bus, const QDBusMessage &question)
{
    const QDBusPendingCall call = bus.asyncCall(question);
    const QDBusPendingCallWatcher watcher(call);
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    if (!watcher.isFinished())
        finished.wait();
    const QVariant value = watcher.reply().arguments().value(0);
    return value.canConvert<QDBusArgument>() ? QVariant(qdbus_cast<QVariantMap>(value)) : value;
}
} // namespace

/// What a desktop's panel is to the items beside its clock.
class TestPanel final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

public:
    TestPanel() : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"panel"_s))
    {
        m_bus.registerObject(u"/StatusNotifierWatcher"_s, this,
                             QDBusConnection::ExportScriptableSlots);
    }
    ~TestPanel() override { QDBusConnection::disconnectFromBus(u"panel"_s); }

    void start() { QVERIFY(m_bus.registerService(u"org.kde.StatusNotifierWatcher"_s)); }
    void end() { QVERIFY(m_bus.unregisterService(u"org.kde.StatusNotifierWatcher"_s)); }
    [[nodiscard]] QDBusConnection bus() const { return m_bus; }

    QStringList items;

public Q_SLOTS:
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString &item) { items << item; }

private:
    QDBusConnection m_bus;
};

class tst_DesktopKeys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // One for all: Qt keeps the first session bus. Its window manager brings XFCE's settings
    // server.
    void initTestCase()
    {
        m_desktop.emplace(VirtualDesktop::Options{.windowManager = {u"xfwm4"_s}});
    }
    void cleanupTestCase() { m_desktop.reset(); }

    void gnomeBindsAKeyOfItsList();
    void mateBindsAKeyOfItsFolder();
    void xfceBindsAKeyOfItsChannel();
    void kdeBindsAKeyToAnEntryOfItsOwn();
    void otherDesktopsAreNotTouched_data();
    void otherDesktopsAreNotTouched();
    void theCommandIsThisPrograms();
    void theLoginItemStartsAnyPath_data();
    void theLoginItemStartsAnyPath();
    void theRunningInstanceTellsOfItsKey_data();
    void theRunningInstanceTellsOfItsKey();
    void anInstanceThatIsNotThereHasNoKey();
    void anIconIsShownAsSoonAsThereIsAPanel();
    void aClickOnTheIconIsHeard();

private:
    std::optional<VirtualDesktop> m_desktop;
};

void tst_DesktopKeys::gnomeBindsAKeyOfItsList()
{
    qputenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    QVERIFY(DesktopKeys::canBind());
    QVERIFY(!DesktopKeys::isBound());
    const GObjectPtr<GSettings> list(
        g_settings_new("org.gnome.settings-daemon.plugins.media-keys"));
    const std::array<const gchar *, 2> own{"/org/gnome/own/", nullptr};
    g_settings_set_strv(list.get(), "custom-keybindings", own.data());
    DesktopKeys::bind();
    DesktopKeys::bind();
    QVERIFY(DesktopKeys::isBound());

    const auto path = "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/quillon/";
    gchar **paths = g_settings_get_strv(list.get(), "custom-keybindings");
    // The user's own stay, and ours is there once.
    QCOMPARE(g_strv_length(paths), 2U);
    QCOMPARE(QString::fromUtf8(paths[0]), u"/org/gnome/own/"_s);
    QCOMPARE(QString::fromUtf8(paths[1]), QString::fromLatin1(path));
    g_strfreev(paths);
    const auto schema = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
    QCOMPARE(setting(schema, path, "binding"), u"<Control><Alt>space"_s);
    QCOMPARE(setting(schema, path, "command"), DesktopKeys::toggleCommand());
    QCOMPARE(setting(schema, path, "name"), u"Show or hide Quillon"_s);
    // The user may take it away again.
    g_settings_reset(list.get(), "custom-keybindings");
    QVERIFY(!DesktopKeys::isBound());
}

void tst_DesktopKeys::mateBindsAKeyOfItsFolder()
{
    qputenv("XDG_CURRENT_DESKTOP", "MATE");
    QVERIFY(!DesktopKeys::isBound());
    DesktopKeys::bind();
    QVERIFY(DesktopKeys::isBound());
    const auto schema = "org.mate.control-center.keybinding";
    const auto path = "/org/mate/desktop/keybindings/quillon/";
    QCOMPARE(setting(schema, path, "binding"), u"<Control><Alt>space"_s);
    QCOMPARE(setting(schema, path, "action"), DesktopKeys::toggleCommand());
    QCOMPARE(setting(schema, path, "name"), u"Show or hide Quillon"_s);
}

void tst_DesktopKeys::xfceBindsAKeyOfItsChannel()
{
    qputenv("XDG_CURRENT_DESKTOP", "XFCE");
    QVERIFY(DesktopKeys::canBind());
    QVERIFY(!DesktopKeys::isBound());
    DesktopKeys::bind();
    QVERIFY(DesktopKeys::isBound());
    QCOMPARE(output(u"xfconf-query"_s, {u"-c"_s, u"xfce4-keyboard-shortcuts"_s, u"-p"_s,
                                        u"/commands/custom/<Primary><Alt>space"_s}),
             DesktopKeys::toggleCommand());
}

void tst_DesktopKeys::kdeBindsAKeyToAnEntryOfItsOwn()
{
    qputenv("XDG_CURRENT_DESKTOP", "KDE");
    QVERIFY(DesktopKeys::canBind());
    QVERIFY(!DesktopKeys::isBound());
    // Without the service, nothing is bound.
    QVERIFY_THROWS_EXCEPTION(PlatformError, DesktopKeys::bind());
    m_desktop->start(u"kglobalaccel5"_s, {});
    const QDBusConnectionInterface &bus = *QDBusConnection::sessionBus().interface();
    QTRY_VERIFY(bus.isServiceRegistered(u"org.kde.kglobalaccel"_s).value());
    QVERIFY(!DesktopKeys::isBound());
    DesktopKeys::bind();
    QVERIFY(DesktopKeys::isBound());
    const QByteArray entry =
        m_desktop->read(u".local/share/kglobalaccel/app.quillon.Quillon.toggle.desktop"_s);
    QVERIFY(entry.contains("\nExec=\"" + QCoreApplication::applicationFilePath().toUtf8() +
                           "\" --toggle\n"));
    QVERIFY(entry.contains("\nX-KDE-GlobalAccel-CommandShortcut=true\n"));
    QTRY_VERIFY(m_desktop->read(u".config/kglobalshortcutsrc"_s)
                    .contains("[app.quillon.Quillon.toggle.desktop]\n"
                              "_k_friendly_name=Quillon\n_launch=Ctrl+Alt+Space,"));
}

void tst_DesktopKeys::otherDesktopsAreNotTouched_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("a window manager") << "i3"_ba;
    QTest::newRow("a similar name") << "GNOMEish"_ba;
}

void tst_DesktopKeys::otherDesktopsAreNotTouched()
{
    QFETCH(const QByteArray, name);
    qputenv("XDG_CURRENT_DESKTOP", name);
    QVERIFY(!DesktopKeys::canBind());
    QVERIFY(!DesktopKeys::isBound());
    QVERIFY_THROWS_EXCEPTION(PlatformError, DesktopKeys::bind());
}

void tst_DesktopKeys::theCommandIsThisPrograms()
{
    QCOMPARE(DesktopKeys::name(), u"Ctrl+Alt+Space"_s);
    QCOMPARE(DesktopKeys::toggleCommand(),
             QCoreApplication::applicationFilePath() + u" --toggle"_s);
}

void tst_DesktopKeys::theLoginItemStartsAnyPath_data()
{
    QTest::addColumn<QString>("program");
    QTest::newRow("usual") << u"/usr/bin/quillon"_s;
    QTest::newRow("blanks") << u"/home/a b/quillon"_s;
    QTest::newRow("signs") << u"/home/\"a\" `b` $c \\d 'e'/quillon"_s;
    QTest::newRow("letters") << u"/home/żółw/quillon"_s;
    QTest::newRow("per cent") << u"/home/100%f/quillon"_s;
}

void tst_DesktopKeys::theLoginItemStartsAnyPath()
{
    QFETCH(const QString, program);
    const Instance::LoginItem item =
        LinuxInstance([] { return false; }).loginItem(program, u"--background"_s);
    QCOMPARE(item.path, m_desktop->home(u".config/autostart/app.quillon.Quillon.desktop"_s));
    GKeyFile *const file = g_key_file_new();
    QVERIFY(g_key_file_load_from_data(file, item.content.constData(),
                                      static_cast<gsize>(item.content.size()), G_KEY_FILE_NONE,
                                      nullptr));
    gchar *const line = g_key_file_get_string(file, "Desktop Entry", "Exec", nullptr);
    gchar **words = nullptr;
    QVERIFY(g_shell_parse_argv(line, nullptr, &words, nullptr));
    QCOMPARE(QString::fromUtf8(words[0]).replace(u"%%"_s, u"%"_s), program);
    QCOMPARE(QString::fromUtf8(words[1]), u"--background"_s);
    QVERIFY(!words[2]);
    g_strfreev(words);
    g_free(line);
    g_key_file_free(file);
}

void tst_DesktopKeys::theRunningInstanceTellsOfItsKey_data()
{
    QTest::addColumn<bool>("ownsKey");
    QTest::newRow("it has it") << true;
    QTest::newRow("it has it not") << false;
}

void tst_DesktopKeys::theRunningInstanceTellsOfItsKey()
{
    QFETCH(const bool, ownsKey);
    LinuxInstance instance([ownsKey] { return ownsKey; });
    QVERIFY(instance.claim([](Instance::Request) {}));
    const TestPanel other;
    QCOMPARE(answer(other.bus(), QDBusMessage::createMethodCall(
                                     u"app.quillon.Quillon"_s, u"/app/quillon/Quillon"_s,
                                     u"app.quillon.Quillon"_s, u"OwnsHotKey"_s)),
             ownsKey);
    QDBusConnection::sessionBus().unregisterService(u"app.quillon.Quillon"_s);
}

void tst_DesktopKeys::anInstanceThatIsNotThereHasNoKey()
{
    QVERIFY(!LinuxInstance::runningOwnsHotKey());
}

void tst_DesktopKeys::anIconIsShownAsSoonAsThereIsAPanel()
{
    TestPanel panel;
    panel.start();
    const QList<Shell::Picture> icon{{1, {0x80102030}}, {2, {1, 2, 3, 0xff000004}}};
    const StatusItem item(icon, [] {});
    QTRY_COMPARE(panel.items.size(), 1);
    // A panel that crashes starts again and knows of no items.
    panel.end();
    panel.start();
    QTRY_COMPARE(panel.items.size(), 2);
    QCOMPARE(panel.items[1], panel.items[0]);

    const QVariantMap properties =
        answer(panel.bus(),
               QDBusMessage::createMethodCall(panel.items[0], u"/StatusNotifierItem"_s,
                                              u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s)
                   << u"org.kde.StatusNotifierItem"_s)
            .toMap();
    QCOMPARE(properties[u"Category"_s], u"ApplicationStatus"_s);
    QCOMPARE(properties[u"Id"_s], u"app.quillon.Quillon"_s);
    QCOMPARE(properties[u"Title"_s], u"Quillon"_s);
    QCOMPARE(properties[u"Status"_s], u"Active"_s);
    QCOMPARE(properties[u"IconName"_s], QString());
    QCOMPARE(properties[u"ItemIsMenu"_s], false);
    const auto pixmaps = qdbus_cast<StatusPixmaps>(properties[u"IconPixmap"_s]);
    QCOMPARE(pixmaps.size(), 2);
    QCOMPARE(pixmaps[0].width, 1);
    QCOMPARE(pixmaps[0].height, 1);
    QCOMPARE(pixmaps[0].bytes, "\x80\x10\x20\x30"_ba);
    QCOMPARE(pixmaps[1].width, 2);
    QCOMPARE(pixmaps[1].bytes, QByteArray("\0\0\0\1\0\0\0\2\0\0\0\3\xff\0\0\4", 16));
}

void tst_DesktopKeys::aClickOnTheIconIsHeard()
{
    TestPanel panel;
    panel.start();
    int clicks = 0;
    const StatusItem item({}, [&clicks] { ++clicks; });
    QTRY_COMPARE(panel.items.size(), 1);
    const auto call = [&](const QString &method, const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            panel.items[0], u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, method);
        message.setArguments(arguments);
        panel.bus().asyncCall(message);
    };
    for (const QString &method : {u"Activate"_s, u"SecondaryActivate"_s, u"ContextMenu"_s})
        call(method, {10, 20});
    QTRY_COMPARE(clicks, 3);
    call(u"Scroll"_s, {120, u"vertical"_s});
    call(u"Activate"_s, {10, 20});
    QTRY_COMPARE(clicks, 4);
}

QTEST_GUILESS_MAIN(tst_DesktopKeys)
#include "tst_DesktopKeys.moc"
