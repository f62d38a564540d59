#pragma once

#include <QObject>

/// Handles the application's launch, reopening and further starts. Main thread.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    enum class Start {
        shown,
        hidden, ///< The application in front stays there.
    };

    /// Makes the process a regular application, registers the hot key and activates the
    /// application.
    void applicationDidFinishLaunching(Start start = Start::shown);

    /// Without windows, the application can still be reached by the hot key and by the desktop.
    [[nodiscard]] static bool applicationShouldTerminateAfterLastWindowClosed() { return false; }

    /// The user has opened the running application again. If no window is visible, the panel is
    /// summoned from the event loop.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

    /// The program was started once more. Handled like reopening, after activating the application
    /// if a window is visible: some desktops do that themselves when an application is reopened.
    void applicationWasStartedAgain();
};
