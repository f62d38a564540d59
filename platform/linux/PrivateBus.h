#pragma once

#include <QByteArray>

#include <dbus/dbus.h>

#include <chrono>
#include <memory>
#include <vector>

struct DBusMessageUnref
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
using DBusMessagePtr = std::unique_ptr<DBusMessage, DBusMessageUnref>;

/// A connection of our own to a message bus, for many calls at once and bounded waits. It has no
/// thread and no event loop: replies arrive while exchange() waits. One thread at a time.
class PrivateBus
{
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Connects to that address and introduces itself. What cannot be reached is not open.
    PrivateBus(const QByteArray &address, Deadline deadline);

    [[nodiscard]] bool isOpen() const { return m_connection != nullptr; }

    /// Sends the calls and returns the replies in their order: a method's return or an error, and
    /// null where none came by the deadline.
    [[nodiscard]] std::vector<DBusMessagePtr> exchange(const std::vector<DBusMessagePtr> &calls,
                                                       Deadline deadline);

    /// Where the session's bus is; empty where there is none.
    [[nodiscard]] static QByteArray sessionAddress();

private:
    struct Closer
    {
        void operator()(DBusConnection *connection) const;
    };

    std::unique_ptr<DBusConnection, Closer> m_connection;
};
