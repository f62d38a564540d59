#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// A stand-in for the little of Foundation and AppKit that our code calls, in plain C++ for tests.
/// What the system does on a thread of its own happens on one here, and late. A call of AppKit on
/// another thread than the main one aborts the program. AppKit's answers are nil wherever its
/// headers allow that and the test has not said otherwise.
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

/// Forgets everything, and waits for the system's threads.
void reset();
/// One turn of the main loop: does what waits in the main queue.
void turn();
/// Makes NSApp, as the toolkit does.
void makeApplication(bool isRunning);

// What the system is like.
extern QList<Running> running;
extern std::optional<int> front;       ///< As the workspace knows it.
extern std::optional<QString> failure; ///< With which everything that can fail does.
extern bool isDark;
extern bool reducesMotion;
extern QStringList symbols; ///< Each is drawn as a full square.
extern std::optional<QString> scriptText;
extern bool isNoScript;
extern bool answersNotifications; ///< Another process answers what is posted.
extern bool skipsWaits;           ///< What is waited for in vain is over at once.
extern bool hasSession;

// What was asked of it: one line each, oldest first.
extern QStringList calls;
extern QList<Distributed> posted;

/// What happens without being asked for.
void changeColors();
void changeAppearance();
void changeMotion();
void receive(const QString &name, const QString &about); ///< A distributed notification.
bool reopen(bool hasVisibleWindows);                     ///< A click in the Dock.
void chooseMenuItem(const QString &title);
QStringList menus(); ///< Each item with its menu and its key.

/// A window of the toolkit's, with its view in a frame. Gone with the next reset.
quintptr makeWindow();
/// The window's properties, and its frame's views from back to front.
QStringList describeWindow();
/// Whether a mouse button that goes down on the view moves the window.
bool movesWindow(quintptr view);
} // namespace FakeCocoa
