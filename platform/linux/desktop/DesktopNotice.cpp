#include "platform/linux/desktop/DesktopNotice.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString service = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;

// The action of a click on the notification, and a button for desktops where a click closes it.
const QString clickAction = u"default"_s;
const QString buttonAction = u"show"_s;

QDBusMessage request(const QString &method)
{
    return QDBusMessage::createMethodCall(service, path, service, method);
}
} // namespace

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
         << QStringList{clickAction, u"Show"_s, buttonAction, u"Show"_s}
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
    bus.connect(service, path, service, u"ActionInvoked"_s, this, SLOT(takeAction(uint, QString)));
    bus.connect(service, path, service, u"NotificationClosed"_s, this, SLOT(takeEnd(uint)));
}

void DesktopNotice::close(uint id)
{
    QDBusMessage call = request(u"CloseNotification"_s);
    call << id;
    QDBusConnection::sessionBus().send(call);
}
