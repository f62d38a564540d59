#pragma once

#include <QFuture>
#include <QString>
#include <QUrl>

#include <optional>

/// The operating system's number for a process.
enum class ProcessId : qint64 {};

/// A running application as the desktop names it.
struct Application
{
    ProcessId pid{};
    std::optional<QString> name; ///< As the desktop shows it; absent where it has none.

    bool operator==(const Application &) const = default;
};

/// The desktop's applications, and opening things with them. Main thread only.
class Workspace
{
public:
    virtual ~Workspace() = default;

    /// The application that the user works with, never the assistant itself; nothing where there
    /// is no desktop or nothing is in front.
    [[nodiscard]] virtual std::optional<Application> frontmostApplication() = 0;

    /// Hands a web address or a file's address to its default application. The future finishes
    /// when the application has been asked, or carries a PlatformError.
    [[nodiscard]] virtual QFuture<void> open(const QUrl &url) = 0;

    /// Shows the item, selected, in the file manager. Best effort: without a file manager nothing
    /// happens.
    virtual void reveal(const QString &path) = 0;
};
