#include "platform/linux/x11/X11Desktop.h"

namespace {
constexpr std::chrono::milliseconds answerLimit{2000};
}

std::optional<X11Snapshot> X11Desktop::snapshot()
{
    return m_worker.run([connection = m_connection] { return connection->snapshot(); }, answerLimit)
        .value_or(std::nullopt);
}

std::optional<ProcessId> X11Desktop::activeOwner()
{
    return m_worker
        .run([connection = m_connection] { return connection->activeOwner(); }, answerLimit)
        .value_or(std::nullopt);
}

void X11Desktop::activate(X11WindowId window)
{
    (void)m_worker.run([connection = m_connection, window] { return connection->activate(window); },
                       answerLimit);
}

void X11Desktop::close(const QList<X11WindowId> &windows)
{
    (void)m_worker.run([connection = m_connection, windows] { return connection->close(windows); },
                       answerLimit);
}
