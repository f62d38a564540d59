#pragma once

#include "platform/linux/atspi/DBusMessagePtr.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <array>
#include <optional>
#include <type_traits>

/// An object of another program on a bus.
struct DBusObject
{
    QByteArray bus;
    QByteArray path;

    bool operator==(const DBusObject &) const = default;
};

/// Makes calls, and reads replies from programs that may say anything: what is no reply or not of
/// the wanted type is absent.
namespace DBusMessages {
[[nodiscard]] DBusMessagePtr call(const char *bus, const char *path, const char *interface,
                                  const char *method);
[[nodiscard]] DBusMessagePtr call(const DBusObject &object, const char *interface,
                                  const char *method);
/// Asks for a property.
[[nodiscard]] DBusMessagePtr get(const DBusObject &object, const char *interface,
                                 const char *property);

void append(const DBusMessagePtr &call, const char *text);
void append(const DBusMessagePtr &call, dbus_int32_t number);
void append(const DBusMessagePtr &call, dbus_uint32_t number);

[[nodiscard]] bool isReturn(const DBusMessagePtr &reply);
/// Whether it is that error.
[[nodiscard]] bool isError(const DBusMessagePtr &reply, const char *name);

/// A reply's only value, or the one in its variant.
[[nodiscard]] std::optional<QByteArray> text(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<bool> boolean(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<dbus_int32_t> number(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<dbus_uint32_t> unsignedNumber(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<QList<dbus_uint32_t>> unsignedNumbers(const DBusMessagePtr &reply);
/// The four numbers of an area.
[[nodiscard]] std::optional<std::array<dbus_int32_t, 4>> area(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<DBusObject> object(const DBusMessagePtr &reply);
/// The first ones of a list, no more than that many. Those on impossible names are left out.
[[nodiscard]] QList<DBusObject> objects(const DBusMessagePtr &reply, qsizetype most);
} // namespace DBusMessages
