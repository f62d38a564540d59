#pragma once

#include "platform/linux/x11/X11Events.h"

#include <QSize>

#include <functional>
#include <memory>
#include <optional>

#include <xcb/xcb_ewmh.h>

/// What the shell asks of the X server and its window manager, and what the server's events tell
/// how that went. Main thread.
class ShellSession
{
public:
    /// Calls this whenever isComposited() or blursBehind() has changed. Nothing where there is no
    /// server.
    [[nodiscard]] static std::unique_ptr<ShellSession>
    open(std::function<void()> compositionChanged);
    ~ShellSession();
    ShellSession(const ShellSession &) = delete;
    ShellSession &operator=(const ShellSession &) = delete;

    [[nodiscard]] bool isComposited() const { return m_isComposited; }
    [[nodiscard]] bool blursBehind() const { return m_isComposited && m_blursBehind; }

    /// Nothing where no window manager tells.
    [[nodiscard]] std::optional<xcb_window_t> activeWindow();

    /// That window had the focus before ours.
    void rememberFocus(xcb_window_t window) { m_previous = window; }

    /// From now on we hear when the window comes and goes. Before it is shown for the first time:
    /// window managers that tile leave its size and place to it.
    void prepare(xcb_window_t window);

    /// Above all other windows, or no longer; now or once it is shown.
    void keepAbove(xcb_window_t window, bool isAbove);

    /// Asks the task bar to point at the window. Focus ends that.
    void demandAttention(xcb_window_t window);

    /// Asks for the focus: with the time of the user's key press where there was one, so that the
    /// window manager sees that this is no theft; else as a task bar would. Once more when the
    /// window is there, where it is still awaited.
    void bringForward(xcb_window_t window, quint32 userTime, bool isAwaited);

    /// The focus goes back to whoever had it, once the window is gone.
    void giveBackAfter(xcb_window_t window);

    /// From now on what is behind the window is out of focus, except behind its round corners. In
    /// pixels.
    void blurBehind(xcb_window_t window, QSize size, double cornerRadius);

private:
    explicit ShellSession(std::function<void()> compositionChanged);

    [[nodiscard]] xcb_connection_t *connection() const { return m_events->connection(); }
    bool start();
    void watch(xcb_window_t window);
    [[nodiscard]] xcb_intern_atom_cookie_t intern(const QByteArray &name) const;
    [[nodiscard]] xcb_atom_t interned(xcb_intern_atom_cookie_t cookie) const;
    void followCompositor();
    [[nodiscard]] bool hasCompositor() const;
    [[nodiscard]] bool announcesBlur() const;
    void readComposition(bool isComposited);
    void changeState(xcb_window_t window, xcb_ewmh_wm_state_action_t action, xcb_atom_t state);
    void handle(const xcb_generic_event_t &event);
    void sendConfigureNotify(xcb_window_t window);
    void describeBlur(QSize size);
    void requestFocus(xcb_window_t window);
    void retryActivation();
    void giveFocusBack();

    std::unique_ptr<X11Events> m_events;
    std::function<void()> m_compositionChanged;
    xcb_ewmh_connection_t m_ewmh{};
    xcb_atom_t m_manager = XCB_ATOM_NONE; ///< The selection that a compositor owns.
    xcb_atom_t m_blur = XCB_ATOM_NONE;
    xcb_window_t m_blurred = XCB_WINDOW_NONE;
    QSize m_blurredSize;
    double m_cornerRadius = 0; ///< In pixels.
    int m_selectionEvent = -1;
    bool m_isComposited = false;
    bool m_blursBehind = false;
    xcb_window_t m_above = XCB_WINDOW_NONE;
    quint32 m_userTime = XCB_CURRENT_TIME;
    xcb_window_t m_previous = XCB_WINDOW_NONE;   ///< What had the focus before us.
    xcb_window_t m_activating = XCB_WINDOW_NONE; ///< What wants the focus once it is mapped.
    xcb_window_t m_hiding = XCB_WINDOW_NONE;     ///< What gives the focus back once it is gone.
};
