#include "platform/linux/atspi/DBusMessages.h"

namespace {
// Stands at the value of that type.
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

// Of a structure of a bus name and a path. The name is any text so far.
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

std::optional<QList<dbus_uint32_t>> DBusMessages::unsignedNumbers(const DBusMessagePtr &reply)
{
    std::optional<DBusMessageIter> list = valueOf(reply, DBUS_TYPE_ARRAY);
    if (!list || dbus_message_iter_get_element_type(&*list) != DBUS_TYPE_UINT32)
        return std::nullopt;
    DBusMessageIter members;
    dbus_message_iter_recurse(&*list, &members);
    const dbus_uint32_t *first = nullptr;
    int count = 0;
    dbus_message_iter_get_fixed_array(&members, static_cast<void *>(&first), &count);
    return QList<dbus_uint32_t>(first, first + count);
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
