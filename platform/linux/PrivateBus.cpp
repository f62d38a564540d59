#include "platform/linux/PrivateBus.h"

#include <QFile>
#include <QHash>

#include <algorithm>

namespace {
int millisecondsUntil(PrivateBus::Deadline deadline)
{
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}
} // namespace

void PrivateBus::Closer::operator()(DBusConnection *connection) const
{
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

PrivateBus::PrivateBus(const QByteArray &address, Deadline deadline)
    : m_connection(address.isEmpty() ? nullptr
                                     : dbus_connection_open_private(address.constData(), nullptr))
{
    if (!m_connection)
        return;
    std::vector<DBusMessagePtr> hello;
    hello.emplace_back(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                    DBUS_INTERFACE_DBUS, "Hello"));
    const std::vector<DBusMessagePtr> welcome = exchange(hello, deadline);
    if (!welcome.front() ||
        dbus_message_get_type(welcome.front().get()) != DBUS_MESSAGE_TYPE_METHOD_RETURN)
        m_connection.reset();
}

std::vector<DBusMessagePtr> PrivateBus::exchange(const std::vector<DBusMessagePtr> &calls,
                                                 Deadline deadline)
{
    std::vector<DBusMessagePtr> replies(calls.size());
    if (!isOpen())
        return replies;
    QHash<dbus_uint32_t, size_t> waiting;
    for (size_t i = 0; i < calls.size(); ++i) {
        dbus_uint32_t serial = 0;
        if (dbus_connection_send(m_connection.get(), calls[i].get(), &serial))
            waiting.insert(serial, i);
    }
    while (!waiting.isEmpty()) {
        while (DBusMessagePtr message{dbus_connection_pop_message(m_connection.get())}) {
            const auto call = waiting.constFind(dbus_message_get_reply_serial(message.get()));
            if (call == waiting.constEnd())
                continue;
            replies[*call] = std::move(message);
            waiting.erase(call);
        }
        const int left = millisecondsUntil(deadline);
        if (waiting.isEmpty() || left == 0 || !dbus_connection_read_write(m_connection.get(), left))
            break;
    }
    return replies;
}

QByteArray PrivateBus::sessionAddress()
{
    if (qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"))
        return qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    return QFile::exists(QFile::decodeName(socket)) ? "unix:path=" + socket : QByteArray();
}
