#pragma once

#include "platform/Workspace.h"

#include <QFuture>
#include <QList>
#include <QString>

#include <filesystem>
#include <optional>

/// A window on the screen, as the window server describes it. A value that is missing or has
/// another type is absent.
struct WindowInfo
{
    std::optional<int> layer; ///< 0 for normal windows.
    std::optional<ProcessId> owner;
    std::optional<QString> ownerName;
    std::optional<QString> title;

    bool operator==(const WindowInfo &) const = default;
};

/// The contents of the screen. Main thread only.
class Screen
{
public:
    virtual ~Screen() = default;

    /// The windows on the screen, from front to back, without the desktop's own; nothing if the
    /// window server does not answer.
    [[nodiscard]] virtual std::optional<QList<WindowInfo>> windows() = 0;

    /// Captures the screen in physical pixels into a PNG file. The future finishes when the attempt
    /// is over, or carries a PlatformError. If the system does not permit the capture, there is no
    /// file and no error.
    [[nodiscard]] virtual QFuture<void> capture(const std::filesystem::path &file) = 0;
};
