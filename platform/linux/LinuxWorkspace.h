#pragma once

#include "platform/Workspace.h"
#include "platform/linux/x11/X11Connection.h"

class X11Desktop;

/// The workspace of an X desktop: windows through EWMH, applications through their desktop entries.
/// Borrows the desktop, which must outlive it.
class LinuxWorkspace final : public Workspace
{
public:
    explicit LinuxWorkspace(X11Desktop &desktop) : m_desktop(desktop) {}

    /// Waits, within bounds, until what was to be revealed is.
    ~LinuxWorkspace() override;

    std::optional<Application> frontmostApplication() override;
    std::optional<ProcessId> focusedProcess() override;
    std::set<ProcessId> ownProcesses() override;
    void activate(ProcessId application) override;
    QList<Application> runningApplications() override;
    QStringList applicationFolders() override;
    QList<InstalledApplication> applicationsIn(const QString &folder) override;
    QString displayName(const QString &location) override;
    std::optional<QString> counterpart(const QString &name) override;
    QFuture<void> launch(const QString &location) override;
    QFuture<void> open(const QUrl &url) override;
    QFuture<void> open(const QUrl &url, const QString &location) override;
    void terminate(ProcessId application) override;
    bool hasTerminated(ProcessId application) override;
    void reveal(const std::filesystem::path &item) override;
    void trash(const std::filesystem::path &item) override;

private:
    /// The application's window that is nearest to the user, if it shows any.
    [[nodiscard]] std::optional<X11WindowId> windowOf(const QString &location);

    X11Desktop &m_desktop;
};
