#include "platform/linux/WindowArrival.h"

#include "platform/Outcome.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/desktop/ProcessTable.h"
#include "platform/linux/x11/X11Desktop.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
constexpr std::chrono::milliseconds lookInterval{40};
// Window managers bring most new windows to the front by themselves, a moment after they appear.
constexpr std::chrono::milliseconds requestInterval{300};
} // namespace

QFuture<void> WindowArrival::wait(X11Desktop &desktop, const Expected &expected, QObject *parent,
                                  std::chrono::milliseconds limit)
{
    auto *const arrival = new WindowArrival(desktop, expected, parent, limit);
    QFuture<void> future = arrival->m_promise.future();
    arrival->look();
    return future;
}

WindowArrival::WindowArrival(X11Desktop &desktop, const Expected &expected, QObject *parent,
                             std::chrono::milliseconds limit)
    : QObject(parent)
    , m_desktop(desktop)
    , m_expected(expected)
    , m_limit(limit)
    , m_nextRequest(requestInterval)
{
    m_promise.start();
    connect(&m_timer, &QTimer::timeout, this, &WindowArrival::look);
    m_timer.start(lookInterval);
}

void WindowArrival::look()
{
    const X11Snapshot now = m_desktop.snapshot().value_or(X11Snapshot());
    if (!m_handOverLimit.hasExpired() && !ProcessTable::hasEnded(m_expected.leader))
        m_documentLimit.setRemainingTime(documentLimit);
    std::optional<QString> failure;
    if (!now.active || !hasWhatWasAskedFor(*now.active) || !hasSettled(*now.active)) {
        bringForward(now);
        if (!m_limit.hasExpired())
            return;
        failure = u'“' + m_expected.name +
                  (m_hasWindow ? u"” didn't come to the front."_s
                               : u"” hasn't shown a window yet. It may still be starting."_s);
    } else {
        m_expected.arrived();
    }
    m_timer.stop();
    settle(m_promise, failure);
    deleteLater();
}

bool WindowArrival::isNew(const X11Window &window) const
{
    return std::ranges::find(m_expected.before.windows, window.id, &X11Window::id) ==
           m_expected.before.windows.end();
}

bool WindowArrival::belongs(const X11Window &window) const
{
    if (window.kind != X11Window::Kind::ordinary || window.isOurs(m_expected.ours))
        return false;
    const WindowOwner owner = ownerOf(window);
    if (owner.location == m_expected.location)
        return true;
    if (window.owner && m_expected.leader != ProcessId{} &&
        ProcessTable::session(*window.owner) == m_expected.leader)
        return true;
    // Not every window can be traced back to what was started, but most can be to another entry.
    return isNew(window) && !(owner.location && DesktopEntries::isEntry(*owner.location));
}

bool WindowArrival::hasWhatWasAskedFor(const X11Window &window) const
{
    if (!belongs(window))
        return false;
    if (!m_expected.opensDocument || isNew(window) || m_documentLimit.hasExpired())
        return true;
    const auto before = std::ranges::find(m_expected.before.windows, window.id, &X11Window::id);
    return before->title != window.title;
}

bool WindowArrival::hasSettled(const X11Window &window)
{
    if (!m_expected.opensDocument || !isNew(window))
        return true;
    if (m_settling != window.id)
        m_settled.setRemainingTime(documentSettle);
    m_settling = window.id;
    return m_settled.hasExpired();
}

// The front-most of its windows, except that one that was there before waits for the new one.
void WindowArrival::bringForward(const X11Snapshot &now)
{
    for (const X11Window &window : now.windows) {
        if (!belongs(window))
            continue;
        m_hasWindow = true;
        const bool isAsked =
            !m_expected.opensDocument || isNew(window) || m_documentLimit.hasExpired();
        if (!isAsked || !m_nextRequest.hasExpired())
            continue;
        m_desktop.activate(window.id);
        m_nextRequest.setRemainingTime(requestInterval);
        return;
    }
}
