#pragma once

#include <QObject>

/// What the application does at the turning points of its life. Main thread.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Makes the process a regular application with its hot key, in front of all others.
    void applicationDidFinishLaunching();

    /// The hot key and the desktop still reach an application without windows.
    [[nodiscard]] static bool applicationShouldTerminateAfterLastWindowClosed() { return false; }

    /// The user opens the application again while it runs. Where no window is visible the panel is
    /// summoned, after the event at hand.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

    /// The program was started once more. What is visible comes to the front as it stands, as it
    /// does by itself where the desktop has means of its own to open an application again.
    void applicationWasStartedAgain();
};
