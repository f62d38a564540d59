#include "platform/linux/desktop/StatusItem.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QStringList>
#include <QVariantMap>
#include <QtEndian>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString itemPath = u"/StatusNotifierItem"_s;

const QString notifications = u"org.freedesktop.Notifications"_s;
const QString notificationsPath = u"/org/freedesktop/Notifications"_s;

// The action of a click on the notification, and a button for desktops on which a click closes it.
// The former has no label, since some desktops show a button for it if it has one.
const QString clickAction = u"default"_s;
const QString buttonAction = u"show"_s;

QDBusMessage request(const QString &method)
{
    return QDBusMessage::createMethodCall(notifications, notificationsPath, notifications, method);
}
} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const StatusPixmap &pixmap)
{
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.bytes;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, StatusPixmap &pixmap)
{
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.bytes;
    argument.endStructure();
    return argument; // NOLINT(bugprone-return-const-ref-from-parameter): what Qt expects
}

StatusItem::StatusItem(const QList<Shell::Picture> &icon, std::function<void()> chosen)
    : m_chosen(std::move(chosen))
    , m_service(u"org.kde.StatusNotifierItem-%1-1"_s.arg(QCoreApplication::applicationPid()))
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    for (const Shell::Picture &picture : icon) {
        QByteArray bytes(picture.pixels.size() * qsizetype(sizeof(quint32)), Qt::Uninitialized);
        qToBigEndian<quint32>(picture.pixels.constData(), picture.pixels.size(), bytes.data());
        m_icon.append({picture.side, picture.side, bytes});
    }
    qDBusRegisterMetaType<StatusPixmap>();
    qDBusRegisterMetaType<StatusPixmaps>();
    bus.registerObject(itemPath, this,
                       QDBusConnection::ExportAllProperties |
                           QDBusConnection::ExportScriptableSlots);
    bus.registerService(m_service);
    m_panels = new QDBusServiceWatcher(watcherService, bus,
                                       QDBusServiceWatcher::WatchForRegistration, this);
    connect(m_panels, &QDBusServiceWatcher::serviceRegistered, this, &StatusItem::announce);
    announce();
}

StatusItem::~StatusItem()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(itemPath);
    bus.unregisterService(m_service);
}

QString StatusItem::category()
{
    return u"ApplicationStatus"_s;
}

QString StatusItem::id()
{
    return u"app.quillon.Quillon"_s;
}

QString StatusItem::title()
{
    return u"Quillon"_s;
}

QString StatusItem::status()
{
    return u"Active"_s;
}

// Some panels show nothing, or that an icon is missing, if their theme does not have the name.
QString StatusItem::iconName()
{
    return {};
}

void StatusItem::Activate(int, int)
{
    m_chosen();
}

void StatusItem::SecondaryActivate(int, int)
{
    m_chosen();
}

// There is no menu; a click of either button shows the panel.
void StatusItem::ContextMenu(int, int)
{
    m_chosen();
}

void StatusItem::Scroll(int, const QString &) {}

void StatusItem::announce() const
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(watcherService, u"/StatusNotifierWatcher"_s, watcherService,
                                       u"RegisterStatusNotifierItem"_s);
    call.setAutoStartService(false);
    call << m_service;
    QDBusConnection::sessionBus().send(call);
}

void DesktopNotice::show(const QString &text, Duration duration, std::function<void()> chosen)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    listen();
    m_chosen = std::move(chosen);
    constexpr int asTheDesktopLikes = -1;
    constexpr int never = 0;
    QDBusMessage call = request(u"Notify"_s);
    // The text is the summary, which desktops show as plain text; the body may be interpreted as
    // markup.
    call << u"Quillon"_s << m_id << u"app.quillon.Quillon"_s << text << QString()
         << QStringList{clickAction, QString(), buttonAction, u"Show"_s}
         << QVariantMap{{u"desktop-entry"_s, u"app.quillon.Quillon"_s}}
         << (duration == Duration::untilWithdrawn ? never : asTheDesktopLikes);
    auto *const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, number = ++m_request] {
                watcher->deleteLater();
                const QDBusPendingReply<uint> reply = *watcher;
                if (reply.isError())
                    return;
                if (number == m_request)
                    m_id = reply.value();
                else
                    close(reply.value());
            });
}

void DesktopNotice::withdraw()
{
    // Its id may not have arrived yet.
    ++m_request;
    m_chosen = nullptr;
    if (const uint id = std::exchange(m_id, 0))
        close(id);
}

void DesktopNotice::takeAction(uint id, const QString &action)
{
    if (id != m_id || id == 0 || (action != clickAction && action != buttonAction))
        return;
    if (const std::function<void()> chosen = std::exchange(m_chosen, nullptr))
        chosen();
}

void DesktopNotice::takeEnd(uint id)
{
    if (id == m_id)
        m_id = 0;
}

void DesktopNotice::listen()
{
    if (std::exchange(m_listens, true))
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(notifications, notificationsPath, notifications, u"ActionInvoked"_s, this,
                SLOT(takeAction(uint, QString)));
    bus.connect(notifications, notificationsPath, notifications, u"NotificationClosed"_s, this,
                SLOT(takeEnd(uint)));
}

void DesktopNotice::close(uint id)
{
    QDBusMessage call = request(u"CloseNotification"_s);
    call << id;
    QDBusConnection::sessionBus().send(call);
}
