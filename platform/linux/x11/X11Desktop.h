#pragma once

#include "base/BoundedWorker.h"
#include "platform/linux/x11/X11Connection.h"

#include <QList>

#include <memory>
#include <optional>
#include <set>

/// The X desktop for the main thread: a server that hangs costs two seconds once, and afterwards
/// counts as absent until it answers again.
class X11Desktop
{
public:
    /// What is on the screen; nothing without a server that answers.
    [[nodiscard]] std::optional<X11Snapshot> snapshot();

    /// The window that the user works in; see X11Connection. Nothing where there is no desktop, and
    /// a PlatformError where its server does not answer.
    [[nodiscard]] std::optional<X11Window> front(const std::set<ProcessId> &ours);

    /// The process of the active window, with 0 for one that is unknown.
    [[nodiscard]] std::optional<ProcessId> activeOwner();

    void activate(X11WindowId window);
    void close(const QList<X11WindowId> &windows);

private:
    // Shared with the work, which may outlast us.
    std::shared_ptr<X11Connection> m_connection = std::make_shared<X11Connection>();
    BoundedWorker m_worker;
};
