#pragma once

#include <QByteArrayList>
#include <QChar>
#include <QList>
#include <QString>
#include <Qt>
#include <QtGlobal>

#include <functional>
#include <optional>
#include <utility>

class NativeWindow;

/// What the toolkit has to know of the desktop before it starts.
struct ToolkitSettings
{
    QByteArrayList arguments = {}; ///< For its command line.
    /// The font resolution from which it derives its scale factor, if that has to differ from the
    /// desktop's.
    std::optional<int> fontResolution = {};
    bool paintsInSoftware = false; ///< Because that is faster than with the graphics processor.
};

/// The application's icon in macOS's Dock.
class Dock
{
public:
    virtual ~Dock() = default;

    /// Gives the application its place in the Dock, and a menu bar.
    virtual void setRegularPolicy() = 0;
    /// Calls `reopened` on the main thread when the user clicks the running application's icon. For
    /// one observer; called before the toolkit starts.
    virtual void observeReopening(std::function<void(bool hasVisibleWindows)> reopened) = 0;
};

/// The application's menu bar.
class MenuBar
{
public:
    virtual ~MenuBar() = default;

    /// Adds an item with a Command shortcut after the text-editing items.
    virtual void addItem(const QString &title, QChar key, std::function<void()> chosen) = 0;
};

/// How urgently the user is needed.
enum class Urgency {
    news,     ///< A task has ended; the user may read it later.
    question, ///< The task waits for the user's answer.
};

/// What the desktop's panel shows of the application.
class Notifier
{
public:
    virtual ~Notifier() = default;

    /// Shows the plain text as a desktop notification that replaces the last one, and calls
    /// `chosen` on the main thread if the user activates it. Does nothing if the desktop has no
    /// notifications.
    virtual void notify(const QString &text, Urgency urgency, std::function<void()> chosen) = 0;
    /// Removes the last notification.
    virtual void withdraw() = 0;
    /// Shows a status icon, and calls `chosen` on the main thread when the user clicks it. Does
    /// nothing if the desktop has no such icons.
    virtual void showStatusItem(std::function<void()> chosen) = 0;
};

/// The program that composes the screen of windows, on systems on which it may be missing.
class Compositor
{
public:
    virtual ~Compositor() = default;

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
    virtual void observe(std::function<void()> changed) = 0;
};

/// The assistant's application and its window on this desktop. Main thread only. Requests are best
/// effort: if the desktop refuses one, nothing changes.
class Shell
{
public:
    /// NSVisualEffectView's materials, by its own numbers.
    enum class Material : long { underWindowBackground = 21 };

    /// A square picture.
    struct Picture
    {
        int side = 0;
        QList<quint32> pixels = {}; ///< 0xAARRGGBB, not premultiplied, in rows from the top.
    };

    virtual ~Shell() = default;

    // What only some systems have; null on the others.

    [[nodiscard]] virtual Dock *dock() { return nullptr; }
    [[nodiscard]] virtual MenuBar *menuBar() { return nullptr; }
    /// Null if the icon in the Dock does all that.
    [[nodiscard]] virtual Notifier *notifier() { return nullptr; }
    /// Null if the system itself always composes and blurs, and draws the shadows.
    [[nodiscard]] virtual Compositor *compositor() { return nullptr; }

    // Called before the toolkit starts.

    /// Whether there is a display for windows.
    [[nodiscard]] virtual bool hasDisplay() = 0;
    [[nodiscard]] virtual ToolkitSettings toolkitSettings() = 0;

    // The application.

    [[nodiscard]] virtual bool isActive() = 0;
    /// Brings the application to the front.
    virtual void activate() = 0;
    /// Hides the window and returns the focus to the application that had it.
    virtual void hide() = 0;
    /// Has a screen reader say the text, wherever its focus is. `element` is the toolkit's number
    /// of a notification in the panel whose name is the text.
    virtual void announce(const QString &text, quint32 element) = 0;

    // Its window.

    /// The window of the panel, if it exists. Its owner sets it to null before destroying it.
    void setWindow(NativeWindow *window) { m_window = window; }
    [[nodiscard]] NativeWindow *window() const { return m_window; }
    /// The icon of the application, for systems that do not know it from its files. `draw` renders
    /// it with that number of pixels on each side.
    void setIcon(std::function<Picture(int side)> draw) { m_drawIcon = std::move(draw); }

    [[nodiscard]] virtual Qt::WindowFlags windowFlags() const = 0;
    [[nodiscard]] virtual bool isVisible(NativeWindow &window) = 0;
    [[nodiscard]] virtual bool isKey(NativeWindow &window) = 0;
    virtual void makeKeyAndOrderFront(NativeWindow &window) = 0;
    /// Centres the window on the user's current screen and shrinks it if it is too large.
    virtual void center(NativeWindow &window) = 0;
    /// Makes the window a translucent panel without a title bar; its contents fill all of it.
    virtual void style(NativeWindow &window) = 0;
    /// Places the system's blurred material behind the window's contents.
    virtual void placeMaterialBehind(NativeWindow &window, Material material) = 0;
    /// Keeps the window above those of other applications without taking the focus. May be called
    /// before the window is shown.
    virtual void keepAbove(NativeWindow &window, bool isAbove) = 0;
    /// Draws the user's attention to the window in the task bar or the Dock.
    virtual void requestAttention(NativeWindow &window, Urgency urgency) = 0;

protected:
    /// Renders the icon; empty if there is none.
    [[nodiscard]] const std::function<Picture(int side)> &drawIcon() const { return m_drawIcon; }

private:
    NativeWindow *m_window = nullptr;
    std::function<Picture(int side)> m_drawIcon;
};
