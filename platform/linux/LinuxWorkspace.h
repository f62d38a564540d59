#pragma once

#include "platform/Workspace.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QObject>

#include <functional>
#include <map>

class X11Desktop;

/// The workspace of an X desktop: windows by EWMH, applications by their desktop entries. The
/// desktop must outlive it.
class LinuxWorkspace final : public Workspace
{
public:
    explicit LinuxWorkspace(X11Desktop &desktop) : m_desktop(desktop) {}

    /// Waits, with a timeout, until items are revealed.
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
    /// Starts the application or makes it open that address, and waits until it is in front.
    [[nodiscard]] QFuture<void> openIn(const QString &location, const QByteArray &uri,
                                       const std::function<DesktopEntry::Started()> &start);

    struct Start
    {
        ProcessId leader{};      ///< The session leader of the started process; 0 if it has ended.
        bool hasArrived = false; ///< A window of it has been in front since.
    };

    X11Desktop &m_desktop;
    std::map<QString, Start> m_starts; ///< The last start of each application, by location.
    QObject m_arrivals;                ///< The parent of the pending waits.
};
