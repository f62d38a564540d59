#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

#include <dbus/dbus.h>

struct DBusMessageUnref
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
/// Owns one reference to a message.
using DBusMessagePtr = std::unique_ptr<DBusMessage, DBusMessageUnref>;

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

/// A connection of our own to a message bus, for many calls at once and bounded waits. It has no
/// thread and no event loop: replies arrive while callAll() waits. One thread at a time.
class PrivateBus
{
public:
    using Deadline = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds unlimited = std::chrono::hours(1);

    /// Connects to that address and introduces itself. What cannot be reached is not open. A bus
    /// that has stopped may block this, if many wait for it already.
    PrivateBus(const QByteArray &address, Deadline deadline);

    /// Connects directly to another program, which sees to it that all messages get where they are
    /// addressed to; this may block, too.
    [[nodiscard]] static std::shared_ptr<PrivateBus> connectToPeer(const QByteArray &address);

    /// Whether the bus is still there.
    [[nodiscard]] bool isOpen() const;

    /// Sends the calls and returns the replies in their order: a method's return or an error, and
    /// null where none came by the deadline, or when all were silent for that long.
    [[nodiscard]] std::vector<DBusMessagePtr>
    callAll(const std::vector<DBusMessagePtr> &calls, Deadline deadline,
            std::chrono::milliseconds silence = unlimited);

    /// The same, but it waits for the reply to the last call only: who answers in order and has not
    /// answered the others by then is still at them.
    [[nodiscard]] std::vector<DBusMessagePtr>
    callUntilLast(const std::vector<DBusMessagePtr> &calls, Deadline deadline);

    /// Where the session's bus is; empty where there is none.
    [[nodiscard]] static QByteArray sessionAddress();

private:
    struct Closer
    {
        void operator()(DBusConnection *connection) const;
    };

    explicit PrivateBus(DBusConnection *connection) : m_connection(connection) {}

    enum class Until { allReplies, lastReply };
    std::vector<DBusMessagePtr> callAll(const std::vector<DBusMessagePtr> &calls, Deadline deadline,
                                        std::chrono::milliseconds silence, Until until);

    std::unique_ptr<DBusConnection, Closer> m_connection;
};
