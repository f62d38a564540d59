#include "platform/linux/atspi/AtSpiBus.h"

#include "platform/linux/atspi/DBusMessages.h"

namespace {
constexpr const char *launcher = "org.a11y.Bus";
constexpr const char *launcherPath = "/org/a11y/bus";
constexpr const char *status = "org.a11y.Status";
constexpr const char *enabled = "IsEnabled";

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
