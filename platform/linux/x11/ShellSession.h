#pragma once

#include "platform/linux/x11/Ewmh.h"
#include "platform/linux/x11/X11Events.h"

#include <QPoint>
#include <QRect>
#include <QSize>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// The shell's requests to the X server and its window manager, and the events that follow. Main
/// thread.
class ShellSession
{
public:
    /// Calls `compositionChanged` when isComposited(), blursBehind() or knowsFrameMargins() has
    /// changed. Null if there is no server.
    [[nodiscard]] static std::unique_ptr<ShellSession>
    open(std::function<void()> compositionChanged);
    ~ShellSession();
    ShellSession(const ShellSession &) = delete;
    ShellSession &operator=(const ShellSession &) = delete;

    [[nodiscard]] bool isComposited() const { return m_isComposited; }
    [[nodiscard]] bool blursBehind() const { return m_isComposited && m_blursBehind; }

    /// Nothing if there is no window manager.
    [[nodiscard]] std::optional<xcb_window_t> activeWindow();

    /// Stores the window that had the focus before ours.
    void rememberFocus(xcb_window_t window) { m_previous = window; }

    /// Selects the window's events. Must be called before it is first shown, so that tiling window
    /// managers do not change its geometry.
    void prepare(xcb_window_t window);

    /// The place of the window's corner, in pixels. The window is moved there once more if the
    /// window manager first shows it at another one.
    void expectAt(xcb_window_t window, QPoint place);

    /// Keeps the window above all others or not; takes effect now or once it is shown.
    void keepAbove(xcb_window_t window, bool isAbove);

    /// Requests attention in the task bar. Focusing the window ends that.
    void demandAttention(xcb_window_t window);

    /// Requests the focus, with the time of the user's key press if there was one, so that the
    /// window manager does not treat it as focus stealing, or else like a task bar. Repeats the
    /// request once the window is mapped, if it is awaited.
    void bringForward(xcb_window_t window, quint32 userTime, bool isAwaited);

    /// Returns the focus to the previous window once this one is unmapped.
    void giveBackAfter(xcb_window_t window);

    /// Requests blur behind the window, except behind its round corners and its margin. In pixels.
    void blurBehind(xcb_window_t window, double cornerRadius);

    /// Whether the window manager does not count a margin of a window as a part of it.
    [[nodiscard]] bool knowsFrameMargins() const { return m_knowsFrameMargins; }

    /// The window's margin in pixels: the window manager does not count it, and the mouse passes
    /// through it.
    void setMargin(xcb_window_t window, int margin);

    /// The window's icon in several sizes, as the property _NET_WM_ICON has it.
    void setIcon(xcb_window_t window, const std::vector<uint32_t> &icon);

    /// The part of a screen, in pixels, that no bar at its edges reserves.
    [[nodiscard]] QRect withoutBars(QRect screen);

private:
    explicit ShellSession(std::function<void()> compositionChanged);

    [[nodiscard]] xcb_connection_t *connection() const { return m_events->connection(); }
    bool start();
    void watch(xcb_window_t window);
    void followCompositor();
    [[nodiscard]] bool hasCompositor() const;
    [[nodiscard]] bool announcesBlur() const;
    void readComposition(bool isComposited);
    void changeState(xcb_window_t window, xcb_ewmh_wm_state_action_t action, xcb_atom_t state);
    void handle(const xcb_generic_event_t &event);
    void sendConfigureNotify(xcb_window_t window);
    [[nodiscard]] bool listsFrameMargins();
    void describe(QSize size);
    [[nodiscard]] QSize sizeOf(xcb_window_t window) const;
    [[nodiscard]] std::vector<xcb_window_t>
    childrenOf(const std::vector<xcb_window_t> &parents) const;
    void correctPlace(xcb_window_t window, QPoint place);
    void requestFocus(xcb_window_t window);
    void retryActivation();
    void giveFocusBack();

    std::unique_ptr<X11Events> m_events;
    std::function<void()> m_compositionChanged;
    Ewmh m_ewmh;
    xcb_atom_t m_manager = XCB_ATOM_NONE; ///< The compositor's selection.
    xcb_atom_t m_blur = XCB_ATOM_NONE;
    xcb_atom_t m_frameMargins = XCB_ATOM_NONE;
    xcb_window_t m_described = XCB_WINDOW_NONE; ///< The window with the blur and the margin.
    QSize m_describedSize;
    double m_cornerRadius = 0; ///< In pixels.
    int m_margin = 0;          ///< In pixels.
    int m_selectionEvent = -1;
    bool m_isComposited = false;
    bool m_blursBehind = false;
    bool m_knowsFrameMargins = false;
    xcb_window_t m_expected = XCB_WINDOW_NONE; ///< The window that has still to be shown,
    QPoint m_expectedPlace;                    ///< and its place then.
    xcb_window_t m_above = XCB_WINDOW_NONE;
    quint32 m_userTime = XCB_CURRENT_TIME;
    xcb_window_t m_previous = XCB_WINDOW_NONE;   ///< The window that had the focus before ours.
    xcb_window_t m_activating = XCB_WINDOW_NONE; ///< The window to activate once it is mapped.
    xcb_window_t m_hiding =
        XCB_WINDOW_NONE; ///< The window after whose unmapping the focus is returned.
};
