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
    regular,    ///< It has windows of its own and stands in the Dock or the task bar.
    accessory,  ///< It shows something now and then: a panel, a menu, an icon.
    background, ///< It shows nothing.
};

/// A running application as the desktop names it.
struct Application
{
    ProcessId pid{};
    std::optional<QString> name{}; ///< As the desktop shows it; absent where it has none.
    ActivationPolicy policy = ActivationPolicy::regular;
    std::optional<QString> location{}; ///< Its bundle or desktop entry, where that is known.

    bool operator==(const Application &) const = default;
};

/// An application that could be started.
struct InstalledApplication
{
    QStringList names; ///< What it is called, the name that the desktop shows first.
    QString location;  ///< Its bundle or desktop entry.

    bool operator==(const InstalledApplication &) const = default;
};

/// The desktop's applications and its file manager, and opening things with them. Main thread only.
/// The futures finish when the application in question is in front, as far as the system tells, or
/// carry a PlatformError; they finish on the main thread. Items are native paths, since file names
/// need not be text.
class Workspace
{
public:
    virtual ~Workspace() = default;

    /// The application that the user works with, never the assistant itself; nothing where there
    /// is no desktop or nothing is in front. A PlatformError where the desktop does not answer.
    [[nodiscard]] virtual std::optional<Application> frontmostApplication() = 0;

    /// The process that gets what is typed now, the assistant's own included. Cheap.
    [[nodiscard]] virtual std::optional<ProcessId> focusedProcess() = 0;

    /// The processes that are the assistant: this one, others that run the program, and the
    /// applications in which the user talks to them, as terminals.
    [[nodiscard]] virtual std::set<ProcessId> ownProcesses() = 0;

    /// Brings the application to the front and hands it the keyboard, which takes a moment.
    virtual void activate(ProcessId application) = 0;

    /// The running applications in the desktop's own order.
    [[nodiscard]] virtual QList<Application> runningApplications() = 0;

    /// The folders that hold applications, the one to search first in front.
    [[nodiscard]] virtual QStringList applicationFolders() = 0;

    /// The applications in one of those folders, in the order in which the system lists them;
    /// none where it cannot be listed.
    [[nodiscard]] virtual QList<InstalledApplication> applicationsIn(const QString &folder) = 0;

    /// What the application at that location is called for the user.
    [[nodiscard]] virtual QString displayName(const QString &location) = 0;

    /// Where another system ships an application under this lower-case name: the application that
    /// this desktop uses for the same job.
    [[nodiscard]] virtual std::optional<QString> counterpart(const QString &name) = 0;

    /// Starts the application, or brings it to the front where it runs already.
    [[nodiscard]] virtual QFuture<void> launch(const QString &location) = 0;

    /// Hands a web address or a file's address to its default application.
    [[nodiscard]] virtual QFuture<void> open(const QUrl &url) = 0;

    /// Hands an address to this very application and brings it to the front.
    [[nodiscard]] virtual QFuture<void> open(const QUrl &url, const QString &location) = 0;

    /// Asks the application to end, as its own menu would; it may ask the user about unsaved work
    /// and stay.
    virtual void terminate(ProcessId application) = 0;

    [[nodiscard]] virtual bool hasTerminated(ProcessId application) = 0;

    /// Shows the item, selected, in the file manager. Best effort: without a file manager nothing
    /// happens.
    virtual void reveal(const std::filesystem::path &item) = 0;

    /// Moves the item to the Trash, a symbolic link as itself. Throws a PlatformError.
    virtual void trash(const std::filesystem::path &item) = 0;
};
