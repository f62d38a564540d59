#pragma once

#include <QByteArrayList>
#include <QChar>
#include <QList>
#include <QString>
#include <Qt>
#include <QtGlobal>

#include <functional>
#include <optional>

class NativeWindow;

/// The assistant's own application and windows as this desktop handles them. Main thread only.
/// Requests are best effort: a desktop that refuses one leaves things as they are.
class Shell
{
public:
    /// NSVisualEffectView's materials, by its own numbers.
    enum class Material : long { underWindowBackground = 21 };

    /// How much the user is needed.
    enum class Urgency {
        news,     ///< Something is over; it may be read later or never.
        question, ///< Nothing goes on before the user answers.
    };

    virtual ~Shell() = default;

    // Before the toolkit starts.

    /// Whether there is a display to show windows on.
    [[nodiscard]] virtual bool hasDisplay() = 0;
    /// What the toolkit is told on its command line.
    [[nodiscard]] virtual QByteArrayList toolkitArguments() const = 0;
    /// The resolution of fonts that the toolkit derives its scale from, if it is to have another
    /// one than the desktop's.
    [[nodiscard]] virtual std::optional<int> fontResolution() = 0;
    /// Calls this on the main thread when the user opens the running application again by the
    /// desktop's own means, with whether the desktop sees a window of it. For one observer.
    virtual void observeReopening(std::function<void(bool hasVisibleWindows)> reopened) = 0;
    /// Whether windows are painted faster without the graphics processor's help.
    [[nodiscard]] virtual bool paintsInSoftware() const = 0;
    [[nodiscard]] virtual Qt::WindowFlags windowFlags() const = 0;

    // The application.

    /// An application with a place in the Dock or the task bar and, where there is one, a menu bar.
    virtual void setRegularPolicy() = 0;
    /// Adds the item with its Command key behind the text-editing items of the menu bar.
    virtual void addMenuItem(const QString &title, QChar key, std::function<void()> chosen) = 0;
    [[nodiscard]] virtual bool isActive() = 0;
    /// Brings the application to the front, over all others.
    virtual void activate() = 0;
    /// Hides the application's windows and gives the focus back to whoever had it.
    virtual void hide() = 0;

    // Its windows, in their order. A window stays until it is forgotten.

    void add(NativeWindow &window) { m_windows.append(&window); }
    void forget(NativeWindow &window) { m_windows.removeOne(&window); }
    [[nodiscard]] const QList<NativeWindow *> &windows() const { return m_windows; }

    [[nodiscard]] virtual bool isVisible(NativeWindow &window) = 0;
    [[nodiscard]] virtual bool isKey(NativeWindow &window) = 0;
    virtual void makeKeyAndOrderFront(NativeWindow &window) = 0;
    /// Puts the window in the middle of the screen that the user is on, and makes it small enough
    /// for that.
    virtual void center(NativeWindow &window) = 0;

    /// Makes the window a translucent panel without a title bar that its own contents fill.
    virtual void style(NativeWindow &window) = 0;
    /// Lays the system's blurred material under the window's contents.
    virtual void placeMaterialBehind(NativeWindow &window, Material material) = 0;

    // What the user must not miss.

    /// Keeps the window above those of other applications, which keep the keyboard. Also for a
    /// window that is shown later.
    virtual void keepAbove(NativeWindow &window, bool isAbove) = 0;
    /// Asks the user, in the task bar or the Dock, to look at the window.
    virtual void requestAttention(NativeWindow &window, Urgency urgency) = 0;
    /// Shows the plain text among the desktop's notifications, in place of the last one, and calls
    /// this on the main thread if the user chooses it. Nothing where there are no notifications.
    virtual void notify(const QString &text, Urgency urgency, std::function<void()> chosen) = 0;
    /// Takes the last notification back.
    virtual void withdrawNotification() = 0;

    // What is behind.

    /// Whether translucent pixels show what is behind the window.
    [[nodiscard]] virtual bool isComposited() = 0;
    /// And show it blurred, so that its texts cannot be mistaken for the window's.
    [[nodiscard]] virtual bool blursBehind() = 0;
    /// Calls this on the main thread whenever one of the two has changed. For one observer.
    virtual void observeComposition(std::function<void()> changed) = 0;

private:
    QList<NativeWindow *> m_windows;
};
