#include "platform/linux/desktop/StatusItem.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString watcher = u"org.kde.StatusNotifierWatcher"_s;
const QString path = u"/StatusNotifierItem"_s;
} // namespace

StatusItem::StatusItem(std::function<void()> chosen)
    : m_chosen(std::move(chosen))
    , m_service(u"org.kde.StatusNotifierItem-%1-1"_s.arg(QCoreApplication::applicationPid()))
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.registerObject(
        path, this, QDBusConnection::ExportAllProperties | QDBusConnection::ExportScriptableSlots);
    bus.registerService(m_service);
    m_panels =
        new QDBusServiceWatcher(watcher, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(m_panels, &QDBusServiceWatcher::serviceRegistered, this, &StatusItem::announce);
    announce();
}

StatusItem::~StatusItem()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(path);
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

QString StatusItem::iconName()
{
    return u"app.quillon.Quillon"_s;
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
    QDBusMessage call = QDBusMessage::createMethodCall(watcher, u"/StatusNotifierWatcher"_s,
                                                       watcher, u"RegisterStatusNotifierItem"_s);
    call.setAutoStartService(false);
    call << m_service;
    QDBusConnection::sessionBus().send(call);
}
