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

/// The assistant's application and windows on this desktop. Main thread only. Requests are best
/// effort: if the desktop refuses one, nothing changes.
class Shell
{
public:
    /// NSVisualEffectView's materials, by its own numbers.
    enum class Material : long { underWindowBackground = 21 };

    /// How urgently the user is needed.
    enum class Urgency {
        news,     ///< A task has ended; the user may read it later.
        question, ///< The task waits for the user's answer.
    };

    /// A square picture.
    struct Picture
    {
        int side = 0;
        QList<quint32> pixels = {}; ///< 0xAARRGGBB, not premultiplied, in rows from the top.
    };

    virtual ~Shell() = default;

    // Called before the toolkit starts.

    /// Whether there is a display for windows.
    [[nodiscard]] virtual bool hasDisplay() = 0;
    /// Command-line arguments for the toolkit.
    [[nodiscard]] virtual QByteArrayList toolkitArguments() const = 0;
    /// The font resolution from which the toolkit derives its scale factor, if it has to differ
    /// from the desktop's.
    [[nodiscard]] virtual std::optional<int> fontResolution() = 0;
    /// Calls `reopened` on the main thread when the user opens the running application again with
    /// the desktop's own means, such as its icon in the Dock. For one observer.
    virtual void observeReopening(std::function<void(bool hasVisibleWindows)> reopened) = 0;
    /// Whether rendering in software is faster than with the graphics processor.
    [[nodiscard]] virtual bool paintsInSoftware() const = 0;
    [[nodiscard]] virtual Qt::WindowFlags windowFlags() const = 0;

    // For the application.

    /// Sets the icon of the application's windows, if the system does not know it from its files.
    /// `draw` renders it with that number of pixels on each side.
    virtual void setIcon(std::function<Picture(int side)> draw) = 0;
    /// Gives the application a place in the Dock or the task bar and a menu bar, if the system has
    /// one.
    virtual void setRegularPolicy() = 0;
    /// Adds an item with a Command shortcut after the text-editing items of the menu bar.
    virtual void addMenuItem(const QString &title, QChar key, std::function<void()> chosen) = 0;
    [[nodiscard]] virtual bool isActive() = 0;
    /// Brings the application to the front.
    virtual void activate() = 0;
    /// Hides the application's windows and returns the focus to the application that had it.
    virtual void hide() = 0;

    /// Has a screen reader say the text, wherever its focus is. `element` is the toolkit's number
    /// of a notification in the panel whose name is the text.
    virtual void announce(const QString &text, quint32 element) = 0;

    // Its windows, in the order of add(). The owner of a window calls forget().

    void add(NativeWindow &window) { m_windows.append(&window); }
    void forget(NativeWindow &window) { m_windows.removeOne(&window); }
    [[nodiscard]] const QList<NativeWindow *> &windows() const { return m_windows; }

    [[nodiscard]] virtual bool isVisible(NativeWindow &window) = 0;
    [[nodiscard]] virtual bool isKey(NativeWindow &window) = 0;
    virtual void makeKeyAndOrderFront(NativeWindow &window) = 0;
    /// Centres the window on the user's current screen and shrinks it if it is too large.
    virtual void center(NativeWindow &window) = 0;

    /// Makes the window a translucent panel without a title bar; its contents fill all of it.
    virtual void style(NativeWindow &window) = 0;
    /// Places the system's blurred material behind the window's contents.
    virtual void placeMaterialBehind(NativeWindow &window, Material material) = 0;

    // Drawing the user's attention.

    /// Keeps the window above those of other applications without taking the focus. May be called
    /// before the window is shown.
    virtual void keepAbove(NativeWindow &window, bool isAbove) = 0;
    /// Draws the user's attention to the window in the task bar or the Dock.
    virtual void requestAttention(NativeWindow &window, Urgency urgency) = 0;
    /// Shows the plain text as a desktop notification that replaces the last one, and calls
    /// `chosen` on the main thread if the user activates it. Does nothing if the desktop has no
    /// notifications.
    virtual void notify(const QString &text, Urgency urgency, std::function<void()> chosen) = 0;
    /// Removes the last notification.
    virtual void withdrawNotification() = 0;
    /// Shows a status icon in the desktop's panel, and calls `chosen` on the main thread when the
    /// user clicks it. Does nothing if the desktop has no such icons.
    virtual void showStatusItem(std::function<void()> chosen) = 0;

    // Composition.

    /// Whether translucent pixels show what is behind the window.
    [[nodiscard]] virtual bool isComposited() = 0;
    /// Whether what is behind is blurred, so that its texts are not mistaken for the window's.
    [[nodiscard]] virtual bool blursBehind() = 0;
    /// Whether a window has to draw its own shadow, in a margin that the window manager does not
    /// count as a part of it.
    [[nodiscard]] virtual bool wantsDrawnShadow() = 0;
    /// Tells the window manager the margin of the window.
    virtual void applyMargin(NativeWindow &window) = 0;
    /// Calls `changed` on the main thread when one of the three has changed. For one observer.
    virtual void observeComposition(std::function<void()> changed) = 0;

private:
    QList<NativeWindow *> m_windows;
};
