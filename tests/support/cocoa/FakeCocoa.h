#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// A fake of the parts of Foundation and AppKit that our code uses, with a C++ interface for tests.
/// Completions that the system calls on other threads are called on another thread here too, after
/// a delay. Calling AppKit on another thread than the main thread aborts the program. AppKit's
/// results are nil if its headers allow that, unless the test sets them.
namespace FakeCocoa {
struct Running
{
    int pid = 0;
    std::optional<QString> name{};
    std::optional<QString> path{};
    long policy = 0;
    QString bundle{};
    bool isTerminated = false;
};
struct Distributed
{
    QString name;
    QString about;
};

/// Resets all state and waits for the threads.
void reset();
/// Runs the work in the main queue.
void turn();
/// Creates NSApp like the toolkit.
void makeApplication(bool isRunning);

// The state of the system.
extern QList<Running> running;
extern std::optional<int> front;       ///< According to NSWorkspace.
extern std::optional<QString> failure; ///< If set, everything that can fail does so.
extern bool isDark;
extern bool reducesMotion;
extern QStringList symbols; ///< Each is drawn as a full square.
extern std::optional<QString> scriptText;
extern bool isNoScript;
extern bool answersNotifications; ///< Another process answers requests.
extern bool skipsWaits;           ///< Timeouts are reached at once.
extern bool hasSession;
extern std::optional<QString> ownBundle; ///< The identifier of this program's bundle, if any.

// The calls as one line each, oldest first.
extern QStringList calls;
extern QList<Distributed> posted;

/// Events.
void changeColors();
void changeAppearance();
void changeMotion();
void receive(const QString &name, const QString &about); ///< A distributed notification.
bool reopen(bool hasVisibleWindows);                     ///< A click in the Dock.
void chooseMenuItem(const QString &title);
QStringList menus(); ///< Each item with its menu and its key.

/// Creates a window like the toolkit's, with its view in a frame. reset() destroys it.
quintptr makeWindow();
/// The window's properties and the views of its frame from back to front.
QStringList describeWindow();
/// Whether pressing a mouse button on the view moves the window.
bool movesWindow(quintptr view);
} // namespace FakeCocoa
