#pragma once

#include <dbus/dbus.h>

#include <memory>

struct DBusMessageUnref
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
/// Owns one reference to a message.
using DBusMessagePtr = std::unique_ptr<DBusMessage, DBusMessageUnref>;
