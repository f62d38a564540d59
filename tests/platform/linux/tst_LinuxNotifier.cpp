#include "platform/Shell.h"
#include "platform/linux/Capabilities.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDBusConnection>
#include <QMap>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
/// A fake notification service on its own connection.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    Notifications()
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"notifications"_s))
    {
        m_bus.registerObject(u"/org/freedesktop/Notifications"_s, this,
                             QDBusConnection::ExportScriptableContents);
        if (!m_bus.registerService(u"org.freedesktop.Notifications"_s))
            qFatal("There are notifications already.");
    }
    ~Notifications() override
    {
        m_bus.unregisterService(u"org.freedesktop.Notifications"_s);
        QDBusConnection::disconnectFromBus(u"notifications"_s);
    }

    void choose(uint id, const QString &action) { Q_EMIT ActionInvoked(id, action); }
    void expire(uint id)
    {
        shown.remove(id);
        Q_EMIT NotificationClosed(id, 1);
    }

    struct Notice
    {
        QString title;
        QString body;
        QStringList actions;
        int expires = -1;
    };
    QMap<uint, Notice> shown;

public Q_SLOTS:
    // The interface declared above.
    Q_SCRIPTABLE uint Notify(const QString &, uint replaced, const QString &, const QString &title,
                             const QString &body, const QStringList &actions, const QVariantMap &,
                             int expires)
    {
        const uint id = replaced != 0 ? replaced : ++m_last;
        shown.insert(id, {title, body, actions, expires});
        return id;
    }
    Q_SCRIPTABLE void CloseNotification(uint id) { shown.remove(id); }

Q_SIGNALS:
    Q_SCRIPTABLE void ActionInvoked(uint id, const QString &action);
    Q_SCRIPTABLE void NotificationClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
    uint m_last = 6;
};
} // namespace

class tst_LinuxNotifier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_desktop = std::make_unique<VirtualDesktop>(); }
    void aNotificationIsPlainTextWithAnAction();
    void aNotificationTakesThePlaceOfTheLast();
    void aNotificationIsWithdrawnAtAnyTime();
    void withoutNotificationsNothingHappens();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
    LinuxHotKey m_hotKey;
};

void tst_LinuxNotifier::aNotificationIsPlainTextWithAnAction()
{
    Notifications notifications;
    const auto shell = makeLinuxShell(m_hotKey);
    int chosen = 0;
    shell->notifier()->notify(u"Done: <b>all</b>"_s, Urgency::news, [&] { ++chosen; });
    QTRY_COMPARE(notifications.shown.size(), 1);
    const uint id = notifications.shown.firstKey();
    const Notifications::Notice notice = notifications.shown.first();
    // Titles are never markup.
    QCOMPARE(notice.title, u"Done: <b>all</b>"_s);
    QCOMPARE(notice.body, QString());
    QCOMPARE(notice.actions, (QStringList{u"default"_s, QString(), u"show"_s, u"Show"_s}));
    QCOMPARE(notice.expires, -1);
    // Every program is notified of the actions on every notification.
    notifications.choose(id + 1, u"default"_s);
    notifications.choose(id, u"other"_s);
    QTest::qWait(50);
    QCOMPARE(chosen, 0);
    notifications.choose(id, u"default"_s);
    QTRY_COMPARE(chosen, 1);
    notifications.choose(id, u"show"_s);
    QTest::qWait(50);
    QCOMPARE(chosen, 1);
}

void tst_LinuxNotifier::aNotificationTakesThePlaceOfTheLast()
{
    Notifications notifications;
    const auto shell = makeLinuxShell(m_hotKey);
    int chosen = 0;
    shell->notifier()->notify(u"Quillon asks"_s, Urgency::question, [] {});
    QTRY_COMPARE(notifications.shown.size(), 1);
    const uint id = notifications.shown.firstKey();
    QCOMPARE(notifications.shown.first().expires, 0); // it stays
    QTest::qWait(50);
    shell->notifier()->notify(u"Done"_s, Urgency::news, [&] { ++chosen; });
    QTRY_COMPARE(notifications.shown.value(id).title, u"Done"_s);
    QCOMPARE(notifications.shown.size(), 1);
    QTest::qWait(50);
    notifications.choose(id, u"show"_s);
    QTRY_COMPARE(chosen, 1);
}

void tst_LinuxNotifier::aNotificationIsWithdrawnAtAnyTime()
{
    Notifications notifications;
    const auto shell = makeLinuxShell(m_hotKey);
    // Also before its id is known.
    for (const int wait : {0, 50}) {
        shell->notifier()->notify(u"Quillon asks"_s, Urgency::question, [] {});
        if (wait > 0) {
            QTRY_COMPARE(notifications.shown.size(), 1);
            QTest::qWait(wait);
        }
        shell->notifier()->withdraw();
        QTest::qWait(50);
        QTRY_VERIFY(notifications.shown.isEmpty());
    }
    // A notification that the user has closed cannot be replaced.
    shell->notifier()->notify(u"one"_s, Urgency::news, [] {});
    QTRY_COMPARE(notifications.shown.size(), 1);
    QTest::qWait(50);
    const uint id = notifications.shown.firstKey();
    notifications.expire(id);
    QTest::qWait(50);
    shell->notifier()->notify(u"two"_s, Urgency::news, [] {});
    QTRY_COMPARE(notifications.shown.size(), 1);
    QVERIFY(notifications.shown.firstKey() != id);
}

void tst_LinuxNotifier::withoutNotificationsNothingHappens()
{
    const auto shell = makeLinuxShell(m_hotKey);
    bool isChosen = false;
    shell->notifier()->notify(u"Done"_s, Urgency::news, [&] { isChosen = true; });
    shell->notifier()->withdraw();
    QTest::qWait(50);
    QVERIFY(!isChosen);
}

QTEST_GUILESS_MAIN(tst_LinuxNotifier)
#include "tst_LinuxNotifier.moc"
