#pragma once

#include "platform/Accessibility.h"
#include "platform/Platform.h"
#include "platform/Screen.h"
#include "platform/Workspace.h"
#include "tests/support/FakeShell.h"

#include <QMap>
#include <QPromise>

#include <list>
#include <utility>

/// A desktop in memory that behaves: what is launched comes to the front, what is asked to end
/// ends, and everything that was asked for is there to look at. Tests set it up through the public
/// members.
class FakeWorkspace final : public Workspace
{
public:
    // What the desktop is like.
    std::optional<Application> front;
    QList<Application> running;
    QStringList folders;
    QMap<QString, QList<InstalledApplication>> installed; ///< By folder.
    QMap<QString, QString> counterparts;                  ///< Locations by lower-case name.
    QList<ProcessId> unsaved;       ///< Applications that stay when they are asked to end.
    std::optional<QString> failure; ///< The sentence with which everything that can fail does.
    bool holdsRequests = false;     ///< Launching and opening take until finishRequests().

    // What was asked of it, oldest first.
    QList<QUrl> opened;
    QList<std::pair<QUrl, QString>> openedWith; ///< The address and the application's location.
    QStringList launched;
    QList<ProcessId> terminated;
    QList<std::filesystem::path> revealed;
    QList<std::filesystem::path> trashed;

    /// Ends what holdsRequests held back.
    void finishRequests();

    std::optional<Application> frontmostApplication() override { return front; }
    QList<Application> runningApplications() override { return running; }
    QStringList applicationFolders() override { return folders; }
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
    QFuture<void> request();
    void bringToFront(const QString &location);

    std::list<QPromise<void>> m_held;
    int m_lastPid = 1000;
};

/// Controls that can be looked at by those whom the user trusts.
class FakeAccessibility final : public Accessibility
{
public:
    bool trusted = true;
    int trustRequests = 0;

    bool isTrusted() override { return trusted; }
    void requestTrust() override { ++trustRequests; }
};

/// A screen that shows what it is told to.
class FakeScreen final : public Screen
{
public:
    std::optional<QList<WindowInfo>> shown = QList<WindowInfo>();

    std::optional<QList<WindowInfo>> windows() override { return shown; }
};

/// Stands in for the system's platform for as long as it lives.
class FakePlatform : public Platform
{
public:
    Accessibility &accessibility() override { return controls; }
    Appearance &appearance() override { return settings; }
    GlobalHotKey &hotKey() override { return key; }
    Instance &instance() override { return place; }
    Shell &shell() override { return panels; }
    Workspace &workspace() override { return desk; }
    Screen &screen() override { return display; }

    FakeAccessibility controls;
    FakeAppearance settings;
    FakeInstance place;
    FakeShell panels;
    FakeHotKey key{panels.calls};
    FakeWorkspace desk;
    FakeScreen display;

private:
    Override m_override{*this};
};
