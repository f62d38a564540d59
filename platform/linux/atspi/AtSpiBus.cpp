#include "platform/linux/atspi/AtSpiBus.h"

#include "platform/linux/desktop/LinuxProcesses.h"

#include <QFile>
#include <QHash>

#include <algorithm>

namespace {
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// More calls in flight are not faster, and the bus buffers what an application has not read.
constexpr size_t maxInFlight = 256;

// An iterator at a value of that type.
std::optional<DBusMessageIter> valueOf(const DBusMessagePtr &reply, int type)
{
    DBusMessageIter at;
    if (!DBusMessages::isReturn(reply) || !dbus_message_iter_init(reply.get(), &at))
        return std::nullopt;
    if (dbus_message_iter_get_arg_type(&at) == DBUS_TYPE_VARIANT) {
        DBusMessageIter inner;
        dbus_message_iter_recurse(&at, &inner);
        at = inner;
    }
    return dbus_message_iter_get_arg_type(&at) == type ? std::optional(at) : std::nullopt;
}

template <typename T>
std::optional<T> basic(const DBusMessagePtr &reply, int type)
{
    std::optional<DBusMessageIter> at = valueOf(reply, type);
    if (!at)
        return std::nullopt;
    T value{};
    dbus_message_iter_get_basic(&*at, static_cast<void *>(&value));
    return value;
}

QByteArray takeText(DBusMessageIter &at)
{
    const char *text = nullptr;
    dbus_message_iter_get_basic(&at, static_cast<void *>(&text));
    dbus_message_iter_next(&at);
    return text;
}

// Reads a structure of a bus name and a path. The name is not validated here.
std::optional<DBusObject> objectAt(DBusMessageIter at)
{
    DBusMessageIter members;
    dbus_message_iter_recurse(&at, &members);
    if (dbus_message_iter_get_arg_type(&members) != DBUS_TYPE_STRING)
        return std::nullopt;
    DBusObject object{.bus = takeText(members), .path = {}};
    if (dbus_message_iter_get_arg_type(&members) != DBUS_TYPE_OBJECT_PATH ||
        !dbus_validate_bus_name(object.bus.constData(), nullptr))
        return std::nullopt;
    object.path = takeText(members);
    return object;
}

constexpr const char *launcher = "org.a11y.Bus";
constexpr const char *launcherPath = "/org/a11y/bus";
constexpr const char *status = "org.a11y.Status";
constexpr const char *enabled = "IsEnabled";

// A desktop has a few dozen applications.
constexpr qsizetype maxApplications = 1000;

DBusMessagePtr askForAddress()
{
    return DBusMessages::call(launcher, launcherPath, launcher, "GetAddress");
}

DBusMessagePtr askForStatus()
{
    return DBusMessages::get({.bus = launcher, .path = launcherPath}, status, enabled);
}

template <typename... Calls>
std::vector<DBusMessagePtr> askSession(PrivateBus::Deadline deadline, Calls... calls)
{
    std::vector<DBusMessagePtr> list;
    (list.push_back(std::move(calls)), ...);
    return PrivateBus(PrivateBus::sessionAddress(), deadline).callAll(list, deadline);
}
} // namespace

DBusMessagePtr DBusMessages::call(const char *bus, const char *path, const char *interface,
                                  const char *method)
{
    return DBusMessagePtr(dbus_message_new_method_call(bus, path, interface, method));
}

DBusMessagePtr DBusMessages::call(const DBusObject &object, const char *interface,
                                  const char *method)
{
    return call(object.bus.constData(), object.path.constData(), interface, method);
}

DBusMessagePtr DBusMessages::get(const DBusObject &object, const char *interface,
                                 const char *property)
{
    DBusMessagePtr asking = call(object, DBUS_INTERFACE_PROPERTIES, "Get");
    append(asking, interface);
    append(asking, property);
    return asking;
}

void DBusMessages::append(const DBusMessagePtr &call, const char *text)
{
    dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
}

void DBusMessages::append(const DBusMessagePtr &call, dbus_int32_t number)
{
    dbus_message_append_args(call.get(), DBUS_TYPE_INT32, &number, DBUS_TYPE_INVALID);
}

void DBusMessages::append(const DBusMessagePtr &call, dbus_uint32_t number)
{
    dbus_message_append_args(call.get(), DBUS_TYPE_UINT32, &number, DBUS_TYPE_INVALID);
}

bool DBusMessages::isReturn(const DBusMessagePtr &reply)
{
    return reply && dbus_message_get_type(reply.get()) == DBUS_MESSAGE_TYPE_METHOD_RETURN;
}

bool DBusMessages::isError(const DBusMessagePtr &reply, const char *name)
{
    return reply && dbus_message_is_error(reply.get(), name);
}

std::optional<QByteArray> DBusMessages::text(const DBusMessagePtr &reply)
{
    return basic<const char *>(reply, DBUS_TYPE_STRING);
}

std::optional<bool> DBusMessages::boolean(const DBusMessagePtr &reply)
{
    const std::optional<dbus_bool_t> value = basic<dbus_bool_t>(reply, DBUS_TYPE_BOOLEAN);
    return value ? std::optional(*value != 0) : std::nullopt;
}

std::optional<dbus_int32_t> DBusMessages::number(const DBusMessagePtr &reply)
{
    return basic<dbus_int32_t>(reply, DBUS_TYPE_INT32);
}

std::optional<dbus_uint32_t> DBusMessages::unsignedNumber(const DBusMessagePtr &reply)
{
    return basic<dbus_uint32_t>(reply, DBUS_TYPE_UINT32);
}

std::optional<dbus_uint32_t> DBusMessages::firstUnsignedNumber(const DBusMessagePtr &reply)
{
    std::optional<DBusMessageIter> list = valueOf(reply, DBUS_TYPE_ARRAY);
    if (!list || dbus_message_iter_get_element_type(&*list) != DBUS_TYPE_UINT32)
        return std::nullopt;
    DBusMessageIter members;
    dbus_message_iter_recurse(&*list, &members);
    const dbus_uint32_t *first = nullptr;
    int count = 0;
    dbus_message_iter_get_fixed_array(&members, static_cast<void *>(&first), &count);
    return count > 0 ? std::optional(*first) : std::nullopt;
}

std::optional<std::array<dbus_int32_t, 4>> DBusMessages::area(const DBusMessagePtr &reply)
{
    std::optional<DBusMessageIter> value = valueOf(reply, DBUS_TYPE_STRUCT);
    if (!value)
        return std::nullopt;
    DBusMessageIter member;
    dbus_message_iter_recurse(&*value, &member);
    std::array<dbus_int32_t, 4> numbers{};
    for (dbus_int32_t &each : numbers) {
        if (dbus_message_iter_get_arg_type(&member) != DBUS_TYPE_INT32)
            return std::nullopt;
        dbus_message_iter_get_basic(&member, &each);
        dbus_message_iter_next(&member);
    }
    return numbers;
}

std::optional<DBusObject> DBusMessages::object(const DBusMessagePtr &reply)
{
    const std::optional<DBusMessageIter> at = valueOf(reply, DBUS_TYPE_STRUCT);
    return at ? objectAt(*at) : std::nullopt;
}

QList<DBusObject> DBusMessages::objects(const DBusMessagePtr &reply, qsizetype most)
{
    QList<DBusObject> objects;
    std::optional<DBusMessageIter> list = valueOf(reply, DBUS_TYPE_ARRAY);
    if (!list)
        return objects;
    DBusMessageIter at;
    dbus_message_iter_recurse(&*list, &at);
    for (; objects.size() < most && dbus_message_iter_get_arg_type(&at) == DBUS_TYPE_STRUCT;
         dbus_message_iter_next(&at)) {
        if (const std::optional<DBusObject> object = objectAt(at))
            objects.append(*object);
    }
    return objects;
}

std::optional<DBusObject> DBusMessages::related(const DBusMessagePtr &reply, dbus_uint32_t kind)
{
    std::optional<DBusMessageIter> list = valueOf(reply, DBUS_TYPE_ARRAY);
    if (!list)
        return std::nullopt;
    DBusMessageIter relation;
    dbus_message_iter_recurse(&*list, &relation);
    for (; dbus_message_iter_get_arg_type(&relation) == DBUS_TYPE_STRUCT;
         dbus_message_iter_next(&relation)) {
        DBusMessageIter member;
        dbus_message_iter_recurse(&relation, &member);
        if (dbus_message_iter_get_arg_type(&member) != DBUS_TYPE_UINT32)
            continue;
        dbus_uint32_t found = 0;
        dbus_message_iter_get_basic(&member, &found);
        dbus_message_iter_next(&member);
        if (found != kind || dbus_message_iter_get_arg_type(&member) != DBUS_TYPE_ARRAY)
            continue;
        DBusMessageIter target;
        dbus_message_iter_recurse(&member, &target);
        if (dbus_message_iter_get_arg_type(&target) == DBUS_TYPE_STRUCT)
            return objectAt(target);
    }
    return std::nullopt;
}

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
    // A disconnection is only noticed when reading.
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

bool AtSpiBus::isEnabled(PrivateBus::Deadline deadline)
{
    const std::vector<DBusMessagePtr> replies =
        askSession(deadline, askForAddress(), askForStatus());
    return DBusMessages::isReturn(replies[0]) && DBusMessages::boolean(replies[1]).value_or(false);
}

bool AtSpiBus::enable(PrivateBus::Deadline deadline)
{
    DBusMessagePtr call =
        DBusMessages::call(launcher, launcherPath, DBUS_INTERFACE_PROPERTIES, "Set");
    DBusMessages::append(call, status);
    DBusMessages::append(call, enabled);
    DBusMessageIter arguments;
    DBusMessageIter value;
    const dbus_bool_t on = 1;
    dbus_message_iter_init_append(call.get(), &arguments);
    dbus_message_iter_open_container(&arguments, DBUS_TYPE_VARIANT, DBUS_TYPE_BOOLEAN_AS_STRING,
                                     &value);
    dbus_message_iter_append_basic(&value, DBUS_TYPE_BOOLEAN, &on);
    dbus_message_iter_close_container(&arguments, &value);
    return DBusMessages::isReturn(askSession(deadline, std::move(call)).front());
}

std::shared_ptr<PrivateBus> AtSpiBus::connect(PrivateBus::Deadline deadline)
{
    const QByteArray address =
        DBusMessages::text(askSession(deadline, askForAddress()).front()).value_or(QByteArray());
    auto bus = std::make_shared<PrivateBus>(address, deadline);
    return bus->isOpen() ? bus : nullptr;
}

std::optional<AtSpiBus::Listing> AtSpiBus::find(PrivateBus &bus, ProcessId process,
                                                const std::set<ProcessId> &ours,
                                                PrivateBus::Deadline deadline)
{
    std::vector<DBusMessagePtr> calls;
    calls.push_back(DBusMessages::call("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root",
                                       "org.a11y.atspi.Accessible", "GetChildren"));
    const std::vector<DBusMessagePtr> listing = bus.callAll(calls, deadline);
    if (!DBusMessages::isReturn(listing.front()))
        return std::nullopt;
    const QList<DBusObject> roots = DBusMessages::objects(listing.front(), maxApplications);
    calls.clear();
    for (const DBusObject &root : roots) {
        calls.push_back(DBusMessages::call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS,
                                           "GetConnectionUnixProcessID"));
        DBusMessages::append(calls.back(), root.bus.constData());
    }
    const std::vector<DBusMessagePtr> owners = bus.callAll(calls, deadline);
    const LinuxProcesses processes;
    Listing found;
    QList<DBusObject> kin;
    for (qsizetype i = 0; i < roots.size(); ++i) {
        const std::optional<dbus_uint32_t> pid =
            DBusMessages::unsignedNumber(owners[static_cast<size_t>(i)]);
        if (!pid)
            continue;
        const ProcessId owner{*pid};
        if (ours.contains(owner))
            found.ourselves.append(roots[i]);
        else if (owner == process)
            found.application.append(roots[i]);
        else if (processes.areSameApplication(owner, process))
            kin.append(roots[i]);
    }
    // The connection of a helper process or a sandbox is used only if the application has none of
    // its own.
    if (found.application.isEmpty())
        found.application = kin;
    return found;
}

std::shared_ptr<PrivateBus> AtSpiPeers::find(ProcessId application, const QByteArray &name) const
{
    const auto peer = m_peers.find({application, name});
    return peer == m_peers.end() ? nullptr : peer->second;
}

void AtSpiPeers::connect(ProcessId application, const QByteArray &name, const QByteArray &address,
                         std::chrono::milliseconds limit)
{
    std::erase_if(m_peers, [](const auto &peer) { return !peer.second->isOpen(); });
    // Other transports (unixexec:) would start a program.
    if (!address.startsWith("unix:") || address.contains(';'))
        return;
    const auto peer = m_queue.call([address] { return PrivateBus::connectToPeer(address); }, limit);
    if (peer && (*peer)->isOpen())
        m_peers[{application, name}] = *peer;
}

void AtSpiPeers::drop(ProcessId application, const QByteArray &name)
{
    m_peers.erase({application, name});
}
