#include "platform/linux/atspi/AtSpiRegistry.h"

#include "platform/linux/desktop/ProcessTable.h"

namespace {
// A desktop has a few dozen applications.
constexpr qsizetype maxApplications = 1000;
} // namespace

std::optional<AtSpiRegistry::Listing> AtSpiRegistry::find(PrivateBus &bus, ProcessId process,
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
        else if (ProcessTable::isSameApplication(owner, process))
            kin.append(roots[i]);
    }
    // A helper's or a sandbox's connection speaks for the application only where none of its own
    // does.
    if (found.application.isEmpty())
        found.application = kin;
    return found;
}
