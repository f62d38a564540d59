#pragma once

#include "platform/Accessibility.h"
#include "platform/Diagnosis.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"
#include "platform/Screen.h"
#include "platform/Scripts.h"
#include "platform/Workspace.h"
#include "tests/support/FakeShell.h"

#include <QCoreApplication>
#include <QMap>
#include <QPromise>

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <utility>

using Qt::StringLiterals::operator""_s;

/// A desktop in memory: launched applications come to the front, terminated ones end, and all
/// requests are recorded. Tests set it up through the public members.
class FakeWorkspace final : public Workspace
{
public:
    // The state of the desktop.
    std::optional<Application> front;
    QList<Application> running;
    QStringList folders;
    QMap<QString, QList<InstalledApplication>> installed; ///< By folder.
    QMap<QString, QString> counterparts;                  ///< Locations by lower-case name.
    QList<ProcessId> unsaved;                             ///< Applications that ignore terminate().
    std::optional<QString> failure; ///< If set, everything that can fail fails with this sentence.
    bool holdsRequests = false;     ///< Launching and opening last until finishRequests().
    std::optional<ProcessId> focused; ///< The focused process, if that is not the one in front.
    bool refusesFocus = false;        ///< No application takes the focus.
    std::optional<QString> silence;   ///< If set, frontmostApplication() fails with this sentence.
    std::set<ProcessId> own{ProcessId{QCoreApplication::applicationPid()}};
    std::function<void()> afterEachLook; ///< Called after each frontmostApplication().

    // The requests, oldest first.
    QList<QUrl> opened;
    QList<std::pair<QUrl, QString>> openedWith; ///< The address and the application's location.
    QStringList launched;
    QList<ProcessId> activated;
    QList<ProcessId> terminated;
    QList<std::filesystem::path> revealed;
    QList<std::filesystem::path> trashed;

    /// Finishes the requests that holdsRequests has held.
    void finishRequests();

    std::optional<Application> frontmostApplication() override;
    std::optional<ProcessId> focusedProcess() override;
    std::set<ProcessId> ownProcesses() override { return own; }
    void activate(ProcessId application) override;
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

/// A control in memory. Children are indices of other controls, so that invalid trees are possible.
struct FakeControl
{
    QString role{};
    QString title{};
    QString description{};
    QString value{};
    QString help{};
    QList<qsizetype> children{};
    Visibility visibility = Visibility::shown;
    bool refusesPress = false;
};

/// The controls of the application in front. The first one is the application itself.
class FakeAccessibility final : public Accessibility
{
public:
    // The state of the application in front.
    bool trusted = true;
    bool givesTrust = false; ///< requestTrust() grants the permission at once.
    QList<FakeControl> all{{.role = u"AXApplication"_s}};
    bool hasRoot = true;
    std::optional<qsizetype> silentAfter; ///< The application hangs after so many controls.
    std::optional<qsizetype> timeUpAfter; ///< The time is up after so many controls.
    std::optional<QString> failure;       ///< If set, open() fails with this sentence.

    // The requests.
    int trustRequests = 0;
    QList<ProcessId> opened;
    qsizetype nodesRead = 0;
    qsizetype childrenRead = 0;
    qsizetype textsRead = 0;
    QList<qsizetype> pressed; ///< Indices of controls.

    /// Adds a control as a child and returns its index.
    qsizetype add(qsizetype parent, const FakeControl &control);

    bool isTrusted() override { return trusted; }
    void requestTrust() override
    {
        ++trustRequests;
        trusted = trusted || givesTrust;
    }
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;
};

/// A keyboard that records all events.
class FakeKeyboard final : public Keyboard
{
public:
    std::optional<QString> failure;       ///< If set, posting fails with this sentence.
    std::function<void()> afterEachEvent; ///< Called after each event.

    QList<KeyEvent> events;
    QStringList announced;      ///< The texts for which sources were opened.
    QList<ProcessId> receivers; ///< The processes for which sources were opened.
    int recoveries = 0;
    int openSources = 0;
    int finishedSources = 0;

    void recover() override { ++recoveries; }
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};

/// A screen with the given windows. A capture writes a file, if it is permitted.
class FakeScreen final : public Screen
{
public:
    std::optional<QList<WindowInfo>> shown = QList<WindowInfo>();
    bool permitsCapture = true;
    std::optional<QString> failure; ///< If set, captures fail with this sentence.
    bool holdsCaptures = false;     ///< A capture lasts until finishCapture().

    QList<std::filesystem::path> captured; ///< The requested files, oldest first.

    /// Finishes the capture that holdsCaptures has held.
    void finishCapture();

    std::optional<QList<WindowInfo>> windows() override { return shown; }
    QFuture<void> capture(const std::filesystem::path &file) override;

private:
    void write(const std::filesystem::path &file) const;

    std::optional<QPromise<void>> m_held;
};

/// Scripting with the same outcome for every script.
class FakeScripts final : public Scripts
{
public:
    ScriptOutcome outcome = ScriptResult{};
    QStringList sources; ///< The scripts, oldest first.

    ScriptOutcome run(const QString &source) override
    {
        sources.append(source);
        return outcome;
    }
};

/// A diagnosis with the given findings.
class FakeDiagnosis final : public Diagnosis
{
public:
    Finding display() override { return screen; }
    Finding accessibility() override { return controls; }
    Finding hotKey() override { return answer(key); }
    Finding screenCapture() override { return answer(capture); }
    Finding fileManager() override { return folders; }

    Finding screen{.state = u"one screen"_s};
    Finding controls{.state = u"allowed"_s};
    Finding key{.state = u"free"_s};
    Finding capture{.state = u"allowed"_s};
    Finding folders{.state = u"Folders"_s};

private:
    // Checks that need a display must not be called if there is none.
    [[nodiscard]] Finding answer(const Finding &finding) const
    {
        if (screen.verdict == Finding::Verdict::bad)
            qFatal("This needs a display.");
        return finding;
    }
};

/// Replaces the system's platform while it exists.
class FakePlatform : public Platform
{
public:
    Accessibility &accessibility() override { return fakeAccessibility; }
    Appearance &appearance() override { return fakeAppearance; }
    Diagnosis &diagnosis() override { return fakeDiagnosis; }
    GlobalHotKey &hotKey() override { return fakeHotKey; }
    Instance &instance() override { return fakeInstance; }
    Shell &shell() override { return fakeShell; }
    Workspace &workspace() override { return fakeWorkspace; }
    Keyboard &keyboard() override { return fakeKeyboard; }
    Screen &screen() override { return fakeScreen; }
    Scripts &scripts() override { return fakeScripts; }

    FakeAccessibility fakeAccessibility;
    FakeAppearance fakeAppearance;
    FakeDiagnosis fakeDiagnosis;
    FakeInstance fakeInstance;
    FakeShell fakeShell;
    FakeHotKey fakeHotKey{fakeShell.calls};
    FakeWorkspace fakeWorkspace;
    FakeKeyboard fakeKeyboard;
    FakeScreen fakeScreen;
    FakeScripts fakeScripts;

private:
    Override m_override{*this};
};
