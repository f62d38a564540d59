#include "platform/linux/atspi/PrivateBus.h"

#include "platform/linux/atspi/DBusMessages.h"

#include <QFile>
#include <QHash>

#include <algorithm>

namespace {
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// More in flight make nothing faster, and the bus keeps what an application has not read yet.
constexpr size_t maxInFlight = 256;
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
    std::vector<DBusMessagePtr> hello;
    hello.push_back(
        DBusMessages::call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello"));
    if (m_connection && !DBusMessages::isReturn(callAll(hello, deadline).front()))
        m_connection.reset();
}

std::shared_ptr<PrivateBus> PrivateBus::connectToPeer(const QByteArray &address)
{
    return std::shared_ptr<PrivateBus>(
        new PrivateBus(dbus_connection_open_private(address.constData(), nullptr)));
}

bool PrivateBus::isOpen() const
{
    // Only who reads hears that the other side has gone.
    return m_connection && dbus_connection_read_write(m_connection.get(), 0) &&
           dbus_connection_get_is_connected(m_connection.get());
}

std::vector<DBusMessagePtr> PrivateBus::callAll(const std::vector<DBusMessagePtr> &calls,
                                                Deadline deadline, milliseconds silence)
{
    return callAll(calls, deadline, silence, Until::allReplies);
}

std::vector<DBusMessagePtr> PrivateBus::callUntilLast(const std::vector<DBusMessagePtr> &calls,
                                                      Deadline deadline)
{
    return callAll(calls, deadline, unlimited, Until::lastReply);
}

std::vector<DBusMessagePtr> PrivateBus::callAll(const std::vector<DBusMessagePtr> &calls,
                                                Deadline deadline, milliseconds silence,
                                                Until until)
{
    std::vector<DBusMessagePtr> replies(calls.size());
    if (!m_connection)
        return replies;
    QHash<dbus_uint32_t, size_t> waiting;
    size_t sent = 0;
    Deadline lastReply = steady_clock::now();
    while (true) {
        for (; sent < calls.size() && static_cast<size_t>(waiting.size()) < maxInFlight; ++sent) {
            dbus_uint32_t serial = 0;
            if (dbus_connection_send(m_connection.get(), calls[sent].get(), &serial))
                waiting.insert(serial, sent);
        }
        bool received = false;
        while (DBusMessagePtr message{dbus_connection_pop_message(m_connection.get())}) {
            const auto call = waiting.constFind(dbus_message_get_reply_serial(message.get()));
            if (call == waiting.constEnd())
                continue;
            replies[*call] = std::move(message);
            waiting.erase(call);
            received = true;
        }
        if ((waiting.isEmpty() && sent == calls.size()) ||
            (until == Until::lastReply && replies.back()))
            return replies;
        const Deadline now = steady_clock::now();
        if (received) {
            lastReply = now;
            if (now < deadline)
                continue;
        }
        const auto left =
            std::chrono::ceil<milliseconds>(std::min(deadline, lastReply + silence) - now);
        if (left <= milliseconds::zero() ||
            !dbus_connection_read_write(m_connection.get(), static_cast<int>(left.count())))
            return replies;
    }
}

QByteArray PrivateBus::sessionAddress()
{
    if (qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"))
        return qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    return QFile::exists(QFile::decodeName(socket)) ? "unix:path=" + socket : QByteArray();
}
