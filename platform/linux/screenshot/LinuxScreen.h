#pragma once

#include "base/WorkQueue.h"
#include "platform/Screen.h"

#include <QObject>

class X11Desktop;

/// The screen of an X desktop. The desktop must outlive it.
class LinuxScreen final : public Screen
{
public:
    explicit LinuxScreen(X11Desktop &desktop) : m_desktop(desktop) {}
    ~LinuxScreen() override;

    std::optional<QList<WindowInfo>> windows() override;
    /// Writes what all monitors show to a PNG file, on the queue's thread. A server that says
    /// nothing for two seconds counts as one that never will.
    QFuture<void> capture(const std::filesystem::path &file) override;

private:
    X11Desktop &m_desktop;
    WorkQueue m_queue{"screen.capture"};
    QObject m_watches; ///< The context of the timers that watch captures.
};
