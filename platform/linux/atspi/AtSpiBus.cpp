#include "platform/linux/atspi/AtSpiBus.h"

#include "platform/linux/desktop/LinuxProcesses.h"

namespace {
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
