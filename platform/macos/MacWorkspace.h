#pragma once

#include "platform/OwnProcesses.h"
#include "platform/Workspace.h"

class Screen;

/// The workspace according to AppKit. The screen must outlive it.
class MacWorkspace final : public Workspace
{
public:
    explicit MacWorkspace(Screen &screen) : m_screen(screen) {}

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
    Screen &m_screen;
    OwnProcesses m_own;
};
