#pragma once

#include "base/ProcessId.h"
#include "base/WorkQueue.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <array>
#include <chrono>
#include <dbus/dbus.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

struct DBusMessageUnref
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
/// Owns a reference to a message.
using DBusMessagePtr = std::unique_ptr<DBusMessage, DBusMessageUnref>;

/// An object of another program on a bus.
struct DBusObject
{
    QByteArray bus;
    QByteArray path;

    bool operator==(const DBusObject &) const = default;
};

/// Creates calls and reads replies, which are not trusted: a missing reply, or a value of another
/// type, is absent.
namespace DBusMessages {
[[nodiscard]] DBusMessagePtr call(const char *bus, const char *path, const char *interface,
                                  const char *method);
[[nodiscard]] DBusMessagePtr call(const DBusObject &object, const char *interface,
                                  const char *method);
/// A call that reads a property.
[[nodiscard]] DBusMessagePtr get(const DBusObject &object, const char *interface,
                                 const char *property);

void append(const DBusMessagePtr &call, const char *text);
void append(const DBusMessagePtr &call, dbus_int32_t number);
void append(const DBusMessagePtr &call, dbus_uint32_t number);

[[nodiscard]] bool isReturn(const DBusMessagePtr &reply);
/// Whether the reply is that error.
[[nodiscard]] bool isError(const DBusMessagePtr &reply, const char *name);

/// The reply's only value, which may be inside a variant.
[[nodiscard]] std::optional<QByteArray> text(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<bool> boolean(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<dbus_int32_t> number(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<dbus_uint32_t> unsignedNumber(const DBusMessagePtr &reply);
/// The first number of a list, such as the first word of an element's states.
[[nodiscard]] std::optional<dbus_uint32_t> firstUnsignedNumber(const DBusMessagePtr &reply);
/// The four numbers of a rectangle.
[[nodiscard]] std::optional<std::array<dbus_int32_t, 4>> area(const DBusMessagePtr &reply);
[[nodiscard]] std::optional<DBusObject> object(const DBusMessagePtr &reply);
/// The first objects of a list, at most so many. Objects with invalid names are skipped.
[[nodiscard]] QList<DBusObject> objects(const DBusMessagePtr &reply, qsizetype most);
/// The first object of the relation of that kind, in a list of relations with their objects.
[[nodiscard]] std::optional<DBusObject> related(const DBusMessagePtr &reply, dbus_uint32_t kind);
} // namespace DBusMessages

/// A private connection to a message bus, for many calls at once with a timeout. It has no thread
/// and no event loop: replies arrive while callAll() waits. Not thread-safe.
class PrivateBus
{
public:
    using Deadline = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds unlimited = std::chrono::hours(1);

    /// Connects to the address and registers on the bus. isOpen() is false if that fails. May block
    /// on a stopped bus for which many others wait already.
    PrivateBus(const QByteArray &address, Deadline deadline);

    /// Connects directly to another program, which routes all messages to their destinations. May
    /// block too.
    [[nodiscard]] static std::shared_ptr<PrivateBus> connectToPeer(const QByteArray &address);

    /// Whether the connection is open.
    [[nodiscard]] bool isOpen() const;

    /// Sends the calls and returns the replies in their order: a method's return or an error, or
    /// null if there was none by the deadline or if nothing arrived for that long.
    [[nodiscard]] std::vector<DBusMessagePtr>
    callAll(const std::vector<DBusMessagePtr> &calls, Deadline deadline,
            std::chrono::milliseconds silence = unlimited);

    /// The same, but waits only for the reply to the last call: a program that answers in order and
    /// has not answered the others by then is still busy with them.
    [[nodiscard]] std::vector<DBusMessagePtr>
    callUntilLast(const std::vector<DBusMessagePtr> &calls, Deadline deadline);

    /// The address of the session bus; empty if there is none.
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

/// The session's service for the accessibility bus. All functions block until the deadline at most,
/// unless a bus has stopped.
namespace AtSpiBus {
/// Whether the bus exists and accessibility is enabled.
[[nodiscard]] bool isEnabled(PrivateBus::Deadline deadline);

/// Enables accessibility. Returns whether the service accepted that.
[[nodiscard]] bool enable(PrivateBus::Deadline deadline);

/// A connection to the bus; null if it does not answer.
[[nodiscard]] std::shared_ptr<PrivateBus> connect(PrivateBus::Deadline deadline);

/// The applications on the bus.
struct Listing
{
    QList<DBusObject> application; ///< The roots of the requested application.
    QList<DBusObject> ourselves;
};

/// Finds the application of the process, and the assistant's own, which runs as `ours`; nothing if
/// the bus does not answer.
[[nodiscard]] std::optional<Listing> find(PrivateBus &bus, ProcessId process,
                                          const std::set<ProcessId> &ours,
                                          PrivateBus::Deadline deadline);
} // namespace AtSpiBus

/// Direct connections to applications whose toolkit offers them, which halves the bus's work. They
/// are kept between actions: GTK 3 gets slower with each connection that it ever had.
class AtSpiPeers
{
public:
    /// The connection to the application with this bus name; null if there is none.
    [[nodiscard]] std::shared_ptr<PrivateBus> find(ProcessId application,
                                                   const QByteArray &name) const;

    /// Connects to the application at its address, if it has given one.
    void connect(ProcessId application, const QByteArray &name, const QByteArray &address,
                 std::chrono::milliseconds limit);

    void drop(ProcessId application, const QByteArray &name);

private:
    // Each bus numbers its names from the start, so a name alone does not identify an application.
    using Key = std::pair<ProcessId, QByteArray>;

    WorkQueue m_queue{"atspi.peers"};
    std::map<Key, std::shared_ptr<PrivateBus>> m_peers;
};
