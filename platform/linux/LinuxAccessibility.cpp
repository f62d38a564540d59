#include "platform/linux/LinuxAccessibility.h"

#include "platform/linux/PrivateBus.h"

#include <initializer_list>

namespace {
using std::chrono::steady_clock;

// A session bus answers in a few milliseconds; the first question starts the accessibility bus.
constexpr std::chrono::milliseconds answerLimit{700};

constexpr const char *launcher = "org.a11y.Bus";
constexpr const char *launcherPath = "/org/a11y/bus";
constexpr const char *status = "org.a11y.Status";
constexpr const char *isEnabled = "IsEnabled";

DBusMessagePtr launcherCall(const char *interface, const char *method)
{
    return DBusMessagePtr(dbus_message_new_method_call(launcher, launcherPath, interface, method));
}

DBusMessagePtr propertyCall(const char *method)
{
    DBusMessagePtr call = launcherCall(DBUS_INTERFACE_PROPERTIES, method);
    dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &status, DBUS_TYPE_STRING, &isEnabled,
                             DBUS_TYPE_INVALID);
    return call;
}

std::vector<DBusMessagePtr> askSession(std::initializer_list<DBusMessage *> calls)
{
    std::vector<DBusMessagePtr> owned(calls.begin(), calls.end());
    const PrivateBus::Deadline deadline = steady_clock::now() + answerLimit;
    return PrivateBus(PrivateBus::sessionAddress(), deadline).exchange(owned, deadline);
}

bool isReturn(const DBusMessagePtr &reply)
{
    return reply && dbus_message_get_type(reply.get()) == DBUS_MESSAGE_TYPE_METHOD_RETURN;
}

bool isTrue(const DBusMessagePtr &reply)
{
    DBusMessageIter outer;
    if (!isReturn(reply) || !dbus_message_has_signature(reply.get(), "v") ||
        !dbus_message_iter_init(reply.get(), &outer))
        return false;
    DBusMessageIter inner;
    dbus_message_iter_recurse(&outer, &inner);
    if (dbus_message_iter_get_arg_type(&inner) != DBUS_TYPE_BOOLEAN)
        return false;
    dbus_bool_t value = 0;
    dbus_message_iter_get_basic(&inner, &value);
    return value != 0;
}

bool askIsTrusted()
{
    const std::vector<DBusMessagePtr> replies =
        askSession({launcherCall(launcher, "GetAddress").release(), propertyCall("Get").release()});
    return isReturn(replies[0]) && isTrue(replies[1]);
}

bool enable()
{
    DBusMessagePtr call = propertyCall("Set");
    DBusMessageIter arguments;
    DBusMessageIter value;
    const dbus_bool_t on = 1;
    dbus_message_iter_init_append(call.get(), &arguments);
    dbus_message_iter_open_container(&arguments, DBUS_TYPE_VARIANT, "b", &value);
    dbus_message_iter_append_basic(&value, DBUS_TYPE_BOOLEAN, &on);
    dbus_message_iter_close_container(&arguments, &value);
    return isReturn(askSession({call.release()}).front());
}
} // namespace

// The waits are bounded by themselves, except for connecting to a bus that has stopped.
bool LinuxAccessibility::isTrusted()
{
    return m_worker.run(&askIsTrusted, answerLimit).value_or(false);
}

void LinuxAccessibility::requestTrust()
{
    (void)m_worker.run(&enable, answerLimit);
}
