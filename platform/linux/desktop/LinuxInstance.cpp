#include "platform/linux/desktop/LinuxInstance.h"

#include "platform/linux/desktop/DesktopEntry.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QStandardPaths>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
// Also the name of the desktop entry.
const QString service = u"app.quillon.Quillon"_s;
const QString path = u"/app/quillon/Quillon"_s;
const QString interface = u"org.freedesktop.Application"_s;
const QString stateInterface = u"app.quillon.Quillon"_s;
const QString toggleAction = u"toggle"_s;

// A message bus answers at once or not at all.
constexpr int busLimit = 5000;
} // namespace

LinuxInstance::LinuxInstance(std::function<bool()> ownsHotKey) : m_ownsHotKey(std::move(ownsHotKey))
{
    new LinuxInstanceState(*this);
}

bool LinuxInstance::claim(std::function<void(Request)> received)
{
    m_received = std::move(received);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    // The object is registered first: as soon as the name is owned, it may be called.
    bus.registerObject(path, this,
                       QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportAdaptors);
    bus.interface()->setTimeout(busLimit);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(service, QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return true;
    bus.unregisterObject(path);
    return false;
}

Instance::LoginItem LinuxInstance::loginItem(const QString &program, const QString &argument) const
{
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart/"_s;
    return {
        folder + service + u".desktop"_s,
        u"[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Quillon\n"
        "Icon=%1\n"
        "Exec=%2 %3\n"
        "X-GNOME-Autostart-enabled=true\n"_s.arg(service, DesktopEntry::quoted(program), argument)
            .toUtf8()};
}

bool LinuxInstance::runningOwnsHotKey()
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, stateInterface, u"OwnsHotKey"_s);
    call.setAutoStartService(false);
    const QDBusReply<bool> reply = QDBusConnection::sessionBus().call(call, QDBus::Block, busLimit);
    return reply.isValid() && reply.value();
}

LinuxInstanceState::LinuxInstanceState(LinuxInstance &instance)
    : QDBusAbstractAdaptor(&instance), m_instance(instance)
{
}

bool LinuxInstanceState::OwnsHotKey() const
{
    return m_instance.ownsHotKey();
}

Instance::Answer LinuxInstance::handOver(Request request)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, path, interface, request == Request::toggle ? u"ActivateAction"_s : u"Activate"_s);
    // Must not start the program.
    call.setAutoStartService(false);
    if (request == Request::toggle)
        call << toggleAction << QVariantList();
    call << QVariantMap();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, answerLimit);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return Answer::taken;
    const QDBusError error(reply);
    return error.type() == QDBusError::ServiceUnknown ||
                   error.name() == u"org.freedesktop.DBus.Error.NameHasNoOwner"
               ? Answer::notRunning
               : Answer::silent;
}

void LinuxInstance::Activate(const QVariantMap &)
{
    m_received(Request::open);
}

void LinuxInstance::Open(const QStringList &, const QVariantMap &)
{
    m_received(Request::open);
}

void LinuxInstance::ActivateAction(const QString &action, const QVariantList &, const QVariantMap &)
{
    m_received(action == toggleAction ? Request::toggle : Request::open);
}
