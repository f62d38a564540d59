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
    QList<ProcessId> unsaved;         ///< Applications that stay when they are asked to end.
    std::optional<QString> failure;   ///< The sentence with which everything that can fail does.
    bool holdsRequests = false;       ///< Launching and opening take until finishRequests().
    std::optional<ProcessId> focused; ///< Who has the keyboard, where that is not the front.
    bool refusesFocus = false;        ///< Nobody takes the keyboard.
    std::optional<QString> silence;   ///< What it says instead of who is in front.
    std::set<ProcessId> own{ProcessId{QCoreApplication::applicationPid()}};
    std::function<void()> afterEachLook; ///< What happens once it was asked who is in front.

    // What was asked of it, oldest first.
    QList<QUrl> opened;
    QList<std::pair<QUrl, QString>> openedWith; ///< The address and the application's location.
    QStringList launched;
    QList<ProcessId> activated;
    QList<ProcessId> terminated;
    QList<std::filesystem::path> revealed;
    QList<std::filesystem::path> trashed;

    /// Ends what holdsRequests held back.
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

/// A control in memory. Its children are numbers of others, so that a tree may be no tree.
struct FakeControl
{
    QString role{};
    QString title{};
    QString description{};
    QString value{};
    QString help{};
    QList<qsizetype> children{};
    bool isHidden = false;
    bool refusesPress = false;
};

/// Controls that can be looked at by those whom the user trusts. The first one is the application.
class FakeAccessibility final : public Accessibility
{
public:
    // What the application in front is like.
    bool trusted = true;
    bool givesTrust = false; ///< At once when it is asked for it, without asking the user.
    QList<FakeControl> all{{.role = u"AXApplication"_s}};
    bool hasRoot = true;
    std::optional<qsizetype> silentAfter; ///< How many controls it tells of before it hangs.
    std::optional<qsizetype> timeUpAfter; ///< How many of them there is time for.
    std::optional<QString> failure;       ///< What the system says instead of opening it.

    // What was asked of it.
    int trustRequests = 0;
    QList<ProcessId> opened;
    qsizetype nodesRead = 0;
    qsizetype childrenRead = 0;
    qsizetype textsRead = 0;
    QList<qsizetype> pressed; ///< The controls' numbers.

    /// Adds a control into that one and returns its number.
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

/// A keyboard on which nothing is lost: events are there to look at once they have been posted.
class FakeKeyboard final : public Keyboard
{
public:
    std::optional<QString> failure;       ///< The sentence with which posting fails.
    std::function<void()> afterEachEvent; ///< What else happens meanwhile.

    QList<KeyEvent> events;
    QStringList announced;      ///< The texts that sources were opened for.
    QList<ProcessId> receivers; ///< For whom they were opened.
    int recoveries = 0;
    int openSources = 0;
    int finishedSources = 0;

    void recover() override { ++recoveries; }
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};

/// A screen that shows what it is told to. A capture of it writes a file, where that is permitted.
class FakeScreen final : public Screen
{
public:
    std::optional<QList<WindowInfo>> shown = QList<WindowInfo>();
    bool permitsCapture = true;
    std::optional<QString> failure; ///< The sentence with which a capture fails.
    bool holdsCaptures = false;     ///< A capture takes until finishCapture().

    QList<std::filesystem::path> captured; ///< What was asked for, oldest first.

    /// Ends the capture that holdsCaptures held back.
    void finishCapture();

    std::optional<QList<WindowInfo>> windows() override { return shown; }
    QFuture<void> capture(const std::filesystem::path &file) override;

private:
    void write(const std::filesystem::path &file) const;

    std::optional<QPromise<void>> m_held;
};

/// Scripting with one answer to every script.
class FakeScripts final : public Scripts
{
public:
    ScriptOutcome outcome = ScriptResult{};
    QStringList sources; ///< What was run, oldest first.

    ScriptOutcome run(const QString &source) override
    {
        sources.append(source);
        return outcome;
    }
};

/// A desktop that is as healthy as it is told to be.
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
    // Nobody asks for what needs a display where there is none.
    [[nodiscard]] Finding answer(const Finding &finding) const
    {
        if (screen.verdict == Finding::Verdict::bad)
            qFatal("This needs a display.");
        return finding;
    }
};

/// Stands in for the system's platform for as long as it lives.
class FakePlatform : public Platform
{
public:
    Accessibility &accessibility() override { return controls; }
    Appearance &appearance() override { return settings; }
    Diagnosis &diagnosis() override { return health; }
    GlobalHotKey &hotKey() override { return key; }
    Instance &instance() override { return place; }
    Shell &shell() override { return panels; }
    Workspace &workspace() override { return desk; }
    Keyboard &keyboard() override { return keys; }
    Screen &screen() override { return display; }
    Scripts &scripts() override { return language; }

    FakeAccessibility controls;
    FakeAppearance settings;
    FakeDiagnosis health;
    FakeInstance place;
    FakeShell panels;
    FakeHotKey key{panels.calls};
    FakeWorkspace desk;
    FakeKeyboard keys;
    FakeScreen display;
    FakeScripts language;

private:
    Override m_override{*this};
};
