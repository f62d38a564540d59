#pragma once

#include "platform/Screen.h"

class X11Desktop;

/// The screen of an X desktop. Borrows the desktop, which must outlive it.
class LinuxScreen final : public Screen
{
public:
    explicit LinuxScreen(X11Desktop &desktop) : m_desktop(desktop) {}

    std::optional<QList<WindowInfo>> windows() override;
    QFuture<void> capture(const std::filesystem::path &file) override;

private:
    X11Desktop &m_desktop;
};
