#include "platform/linux/x11/X11Desktop.h"

#include "platform/PlatformError.h"
#include "platform/linux/x11/Display.h"

using namespace Qt::StringLiterals;

namespace {
constexpr std::chrono::milliseconds answerLimit{2000};
}

std::optional<X11Snapshot> X11Desktop::snapshot()
{
    return m_worker.run([connection = m_connection] { return connection->snapshot(); }, answerLimit)
        .value_or(std::nullopt);
}

std::optional<X11Window> X11Desktop::front(const std::set<ProcessId> &ours)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return std::nullopt;
    const std::optional<X11Front> front =
        m_worker
            .run([connection = m_connection, ours] { return connection->front(ours); }, answerLimit)
            .value_or(std::nullopt);
    if (!front)
        throw PlatformError(u"The X server does not answer."_s);
    return front->window;
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
