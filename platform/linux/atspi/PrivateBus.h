#pragma once

#include "platform/linux/atspi/DBusMessagePtr.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <vector>

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
