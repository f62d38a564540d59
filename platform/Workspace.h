#pragma once

#include "base/ProcessId.h"

#include <QFuture>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <filesystem>
#include <optional>
#include <set>

/// How an application takes part in the desktop.
enum class ActivationPolicy {
    regular,    ///< It has windows and is in the Dock or the task bar.
    accessory,  ///< It only shows a panel, a menu or an icon.
    background, ///< It has no interface.
};

/// A running application.
struct Application
{
    ProcessId pid{};
    std::optional<QString> name{}; ///< As the desktop shows it, if it has one.
    ActivationPolicy policy = ActivationPolicy::regular;
    std::optional<QString> location{}; ///< Its bundle or desktop entry, if known.

    bool operator==(const Application &) const = default;
};

/// An application that could be started.
struct InstalledApplication
{
    QStringList names; ///< Its names; the first is the one that the desktop shows.
    QString location;  ///< Its bundle or desktop entry.

    bool operator==(const InstalledApplication &) const = default;
};

/// The desktop's applications and its file manager, and opening items with them. Main thread only.
/// Futures finish on the main thread, when the application is in front as far as the system tells,
/// or carry a PlatformError. Items are native paths, since file names need not be valid text.
class Workspace
{
public:
    virtual ~Workspace() = default;

    /// The application that the user works with, never the assistant itself; nothing if there is no
    /// desktop or no application in front. Throws a PlatformError if the desktop does not answer.
    [[nodiscard]] virtual std::optional<Application> frontmostApplication() = 0;

    /// The process with the keyboard focus, which may be the assistant itself. Cheap.
    [[nodiscard]] virtual std::optional<ProcessId> focusedProcess() = 0;

    /// The processes that count as the assistant: this one, others that run the program, and the
    /// applications in which the user interacts with them, such as terminals.
    [[nodiscard]] virtual std::set<ProcessId> ownProcesses() = 0;

    /// Brings the application to the front and gives it the focus. Asynchronous.
    virtual void activate(ProcessId application) = 0;

    /// The running applications in the desktop's order.
    [[nodiscard]] virtual QList<Application> runningApplications() = 0;

    /// The folders with applications, in the order of searching.
    [[nodiscard]] virtual QStringList applicationFolders() = 0;

    /// The applications in one of those folders, in the system's order; none if the folder cannot
    /// be read.
    [[nodiscard]] virtual QList<InstalledApplication> applicationsIn(const QString &folder) = 0;

    /// The name of the application at that location, as the user sees it.
    [[nodiscard]] virtual QString displayName(const QString &location) = 0;

    /// If another system ships an application with this lower-case name: the location of the
    /// application that this desktop uses for the same purpose.
    [[nodiscard]] virtual std::optional<QString> counterpart(const QString &name) = 0;

    /// Starts the application, or brings it to the front if it is running.
    [[nodiscard]] virtual QFuture<void> launch(const QString &location) = 0;

    /// Opens a web address or a file URL with its default application.
    [[nodiscard]] virtual QFuture<void> open(const QUrl &url) = 0;

    /// Opens an address with that application and brings it to the front.
    [[nodiscard]] virtual QFuture<void> open(const QUrl &url, const QString &location) = 0;

    /// Requests the application to quit, as its own menu does. It may ask the user about unsaved
    /// work and continue to run.
    virtual void terminate(ProcessId application) = 0;

    [[nodiscard]] virtual bool hasTerminated(ProcessId application) = 0;

    /// Shows the item, selected, in the file manager. Best effort: does nothing if there is no file
    /// manager.
    virtual void reveal(const std::filesystem::path &item) = 0;

    /// Moves the item to the Trash; symbolic links are not followed. Throws a PlatformError.
    virtual void trash(const std::filesystem::path &item) = 0;
};
