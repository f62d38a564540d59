#pragma once

#include "platform/Workspace.h"

#include <QFuture>
#include <QList>
#include <QString>

#include <filesystem>
#include <optional>

/// One window of the screen, as the window server describes it. A value that is missing or not of
/// the named type is absent.
struct WindowInfo
{
    std::optional<int> layer; ///< 0 for the ordinary windows of applications.
    std::optional<ProcessId> owner;
    std::optional<QString> ownerName;
    std::optional<QString> title;

    bool operator==(const WindowInfo &) const = default;
};

/// What is on the screen. Main thread only.
class Screen
{
public:
    virtual ~Screen() = default;

    /// The windows that are on the screen, front to back, without the desktop's own; nothing where
    /// the window server does not answer.
    [[nodiscard]] virtual std::optional<QList<WindowInfo>> windows() = 0;

    /// Writes what the screen shows, in its real pixels, to a PNG file. The future finishes when
    /// the attempt is over, or carries a PlatformError. An attempt that the system did not permit
    /// leaves no file and no error.
    [[nodiscard]] virtual QFuture<void> capture(const std::filesystem::path &file) = 0;
};
