#pragma once

#include "platform/Workspace.h"
#include "platform/linux/x11/X11Window.h"

#include <QDeadlineTimer>
#include <QFuture>
#include <QObject>
#include <QPromise>
#include <QTimer>

#include <chrono>
#include <functional>
#include <set>

class X11Desktop;

/// Waits until an application that was asked to open something is in front, so that what is typed
/// next goes to it and not to the window that was there before. A window that appears and is kept
/// behind the others is brought forward. Main thread; deletes itself when the wait is over.
class WindowArrival final : public QObject
{
public:
    /// How long an office suite takes to start on a slow machine.
    static constexpr std::chrono::milliseconds usualLimit{10'000};
    /// How long an application that runs gets to show what it was asked to open: in a window of its
    /// own, or under another title. One that does neither shows it without telling.
    static constexpr std::chrono::milliseconds documentLimit{1500};
    /// How long a program may take to hand the document to the one that runs.
    static constexpr std::chrono::milliseconds handOverLimit{6000};
    /// How long a window with a document has to be in front: it drops the keys that come while it
    /// reads the document.
    static constexpr std::chrono::milliseconds documentSettle{700};

    struct Expected
    {
        QString location; ///< The application's desktop entry.
        QString name;
        X11Snapshot before;         ///< The screen before it was asked.
        std::set<ProcessId> ours{}; ///< The assistant's own processes: their windows never count.
        ProcessId leader{};         ///< Of the session of what was started for this; 0 for nothing.
        bool opensDocument = false; ///< The windows that were there do not count at once.
        std::function<void()> arrived = [] {}; ///< Called when it is in front.
    };

    /// Carries a PlatformError when nothing came to the front within the limit. Borrows the
    /// desktop, which must outlive it, as must the parent.
    [[nodiscard]] static QFuture<void> wait(X11Desktop &desktop, const Expected &expected,
                                            QObject *parent,
                                            std::chrono::milliseconds limit = usualLimit);

private:
    WindowArrival(X11Desktop &desktop, const Expected &expected, QObject *parent,
                  std::chrono::milliseconds limit);

    void look();
    [[nodiscard]] bool isNew(const X11Window &window) const;
    [[nodiscard]] bool belongs(const X11Window &window) const;
    [[nodiscard]] bool hasWhatWasAskedFor(const X11Window &window) const;
    [[nodiscard]] bool hasSettled(const X11Window &window);
    void bringForward(const X11Snapshot &now);

    X11Desktop &m_desktop;
    const Expected m_expected;
    QPromise<void> m_promise;
    QTimer m_timer;
    QDeadlineTimer m_limit;
    QDeadlineTimer m_handOverLimit{handOverLimit};
    QDeadlineTimer m_documentLimit{documentLimit};
    QDeadlineTimer m_settled{documentSettle};
    std::optional<X11WindowId> m_settling;
    QDeadlineTimer m_nextRequest;
    bool m_hasWindow = false;
};
