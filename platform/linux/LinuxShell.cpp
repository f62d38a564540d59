#include "platform/linux/LinuxShell.h"

#include "platform/PanelWindow.h"
#include "platform/linux/BoundedWorker.h"
#include "platform/linux/LinuxHotKey.h"
#include "platform/linux/XcbReply.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <xcb/xfixes.h>

namespace {
// A server that has not answered a first connection by then will not show a panel either.
constexpr std::chrono::milliseconds serverLimit{5000};

constexpr xcb_window_t noWindow = XCB_WINDOW_NONE;

// What the panel's own corners look like.
constexpr double cornerRadius = 14;

// Rectangles that together are one with round corners, each as x, y, width and height.
std::vector<uint32_t> roundedRegion(QSize size, double radius)
{
    const auto rows = std::min(static_cast<int>(std::ceil(radius)), size.height() / 2);
    std::vector<uint32_t> region;
    const auto add = [&](int x, int y, int width, int height) {
        for (const int number : {x, y, width, height})
            region.push_back(static_cast<uint32_t>(std::max(number, 0)));
    };
    for (int row = 0; row < rows; ++row) {
        const double rise = radius - row - 0.5;
        const auto inset = static_cast<int>(
            std::ceil(radius - std::sqrt(std::max(radius * radius - rise * rise, 0.0))));
        add(inset, row, size.width() - 2 * inset, 1);
        add(inset, size.height() - 1 - row, size.width() - 2 * inset, 1);
    }
    add(0, rows, size.width(), size.height() - 2 * rows);
    return region;
}

xcb_window_t windowId(PanelWindow &window)
{
    return static_cast<xcb_window_t>(window.handle());
}

bool serverAnswers()
{
    BoundedWorker worker;
    const auto connects = [] {
        xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
        const bool isGood = xcb_connection_has_error(connection) == 0;
        xcb_disconnect(connection);
        return isGood;
    };
    return worker.run(connects, serverLimit).value_or(false);
}

// Who chose another of the toolkit's ways to show windows knows what it needs.
bool choosesX11()
{
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    return chosen.isEmpty() || chosen.startsWith("xcb");
}
} // namespace

// What is asked of the X server, and the events that tell how it went.
class LinuxShell::Session
{
public:
    static std::unique_ptr<Session> open(std::function<void()> compositionChanged)
    {
        auto session = std::unique_ptr<Session>(new Session(std::move(compositionChanged)));
        return session->m_events && session->prepare() ? std::move(session) : nullptr;
    }

    ~Session() { xcb_ewmh_connection_wipe(&m_ewmh); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    [[nodiscard]] bool isComposited() const { return m_isComposited; }

    // Nothing where no window manager tells.
    [[nodiscard]] std::optional<xcb_window_t> activeWindow()
    {
        xcb_window_t window = noWindow;
        const auto cookie = xcb_ewmh_get_active_window(&m_ewmh, m_events->screen());
        const bool isTold = xcb_ewmh_get_active_window_reply(&m_ewmh, cookie, &window, nullptr);
        m_events->flush();
        return isTold ? std::optional(window) : std::nullopt;
    }

    void rememberFocus(xcb_window_t window) { m_previous = window; }

    // From now on we hear when the window comes and goes.
    void watch(xcb_window_t window)
    {
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection(), window, XCB_CW_EVENT_MASK, &events);
        m_events->flush();
    }

    // With the time of the user's key press where there was one, so that the window manager sees
    // that this is no theft of the focus; else as a task bar would ask.
    void bringForward(xcb_window_t window, quint32 userTime, bool isAwaited)
    {
        m_userTime = userTime;
        m_comes = isAwaited ? window : noWindow;
        m_goes = noWindow;
        requestFocus(window);
    }

    // The focus goes back once the window is gone.
    void giveBackAfter(xcb_window_t window)
    {
        m_goes = window;
        m_comes = noWindow;
    }

    // From now on what is behind the window is out of focus, except behind its round corners.
    void blurBehind(xcb_window_t window, QSize size, double cornerRadius)
    {
        m_blurred = window;
        m_cornerRadius = cornerRadius;
        watch(window);
        describeBlur(size);
    }

private:
    explicit Session(std::function<void()> compositionChanged)
        : m_events(X11Events::open([this](const xcb_generic_event_t &event) { handle(event); }))
        , m_compositionChanged(std::move(compositionChanged))
    {
    }

    [[nodiscard]] xcb_connection_t *connection() const { return m_events->connection(); }

    bool prepare()
    {
        const QByteArray managerName = "_NET_WM_CM_S" + QByteArray::number(m_events->screen());
        const auto managerCookie = intern(managerName);
        const auto blurCookie = intern("_KDE_NET_WM_BLUR_BEHIND_REGION");
        xcb_intern_atom_cookie_t *const atoms = xcb_ewmh_init_atoms(connection(), &m_ewmh);
        if (!xcb_ewmh_init_atoms_replies(&m_ewmh, atoms, nullptr) ||
            m_events->screen() >= m_ewmh.nb_screens)
            return false;
        m_manager = interned(managerCookie);
        m_blur = interned(blurCookie);
        followCompositor();
        m_isComposited = hasCompositor();
        m_events->flush();
        return m_manager != XCB_ATOM_NONE && m_blur != XCB_ATOM_NONE;
    }

    [[nodiscard]] xcb_intern_atom_cookie_t intern(const QByteArray &name) const
    {
        return xcb_intern_atom(connection(), 0, static_cast<uint16_t>(name.size()),
                               name.constData());
    }

    [[nodiscard]] xcb_atom_t interned(xcb_intern_atom_cookie_t cookie) const
    {
        const XcbReply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection(), cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    void followCompositor()
    {
        const xcb_query_extension_reply_t *const extension =
            xcb_get_extension_data(connection(), &xcb_xfixes_id);
        if (!extension || !extension->present)
            return;
        m_selectionEvent = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
        const XcbReply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
            connection(), xcb_xfixes_query_version(connection(), 1, 0), nullptr));
        xcb_xfixes_select_selection_input(
            connection(), m_events->root(), m_manager,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }

    [[nodiscard]] bool hasCompositor() const
    {
        const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection(), xcb_get_selection_owner(connection(), m_manager), nullptr));
        return reply && reply->owner != noWindow;
    }

    void handle(const xcb_generic_event_t &event)
    {
        const int type = event.response_type & 0x7f;
        if (type == XCB_MAP_NOTIFY) {
            // A window manager may have looked at the window's age only and left it behind.
            const auto window = reinterpret_cast<const xcb_map_notify_event_t &>(event).window;
            if (window == m_comes) {
                m_comes = noWindow;
                requestFocus(window);
            }
        } else if (type == XCB_UNMAP_NOTIFY) {
            const auto window = reinterpret_cast<const xcb_unmap_notify_event_t &>(event).window;
            if (window == m_goes) {
                m_goes = noWindow;
                giveFocusBack();
            }
        } else if (type == XCB_CONFIGURE_NOTIFY) {
            const auto &change = reinterpret_cast<const xcb_configure_notify_event_t &>(event);
            const QSize size(change.width, change.height);
            if (change.window == m_blurred && size != m_blurredSize)
                describeBlur(size);
        } else if (type == m_selectionEvent) {
            const auto owner =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event).owner;
            const bool isComposited = owner != noWindow;
            if (std::exchange(m_isComposited, isComposited) != isComposited)
                m_compositionChanged();
        }
    }

    void describeBlur(QSize size)
    {
        m_blurredSize = size;
        const std::vector<uint32_t> region = roundedRegion(size, m_cornerRadius);
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_blurred, m_blur,
                            XCB_ATOM_CARDINAL, 32, static_cast<uint32_t>(region.size()),
                            region.data());
        m_events->flush();
    }

    void requestFocus(xcb_window_t window)
    {
        if (m_userTime != XCB_CURRENT_TIME)
            xcb_ewmh_set_wm_user_time(&m_ewmh, window, m_userTime);
        const auto source = m_userTime != XCB_CURRENT_TIME ? XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL
                                                           : XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER;
        xcb_ewmh_request_change_active_window(&m_ewmh, m_events->screen(), window, source,
                                              m_userTime, m_previous);
        m_events->flush();
    }

    void giveFocusBack()
    {
        const xcb_window_t window = std::exchange(m_previous, noWindow);
        if (window == noWindow)
            return;
        // What was closed, minimised or left on another desktop meanwhile stays so.
        const XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(
                connection(), xcb_get_window_attributes(connection(), window), nullptr));
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE) {
            xcb_ewmh_request_change_active_window(&m_ewmh, m_events->screen(), window,
                                                  XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER,
                                                  XCB_CURRENT_TIME, noWindow);
        }
        m_events->flush();
    }

    std::unique_ptr<X11Events> m_events;
    std::function<void()> m_compositionChanged;
    xcb_ewmh_connection_t m_ewmh{};
    xcb_atom_t m_manager = XCB_ATOM_NONE; ///< The selection that a compositor owns.
    xcb_atom_t m_blur = XCB_ATOM_NONE;
    xcb_window_t m_blurred = noWindow;
    QSize m_blurredSize;
    double m_cornerRadius = 0; ///< In pixels.
    int m_selectionEvent = -1;
    bool m_isComposited = false;
    quint32 m_userTime = XCB_CURRENT_TIME;
    xcb_window_t m_previous = noWindow; ///< What had the focus before us.
    xcb_window_t m_comes = noWindow;    ///< What wants the focus once it is mapped.
    xcb_window_t m_goes = noWindow;     ///< What gives the focus back once it is gone.
};

LinuxShell::LinuxShell(const LinuxHotKey &hotKey) : m_hotKey(hotKey) {}

LinuxShell::~LinuxShell() = default;

LinuxShell::Session *LinuxShell::session()
{
    if (!m_session) {
        m_session = Session::open([this] {
            if (m_compositionChanged)
                m_compositionChanged();
        });
    }
    return m_session->get();
}

bool LinuxShell::hasDisplay()
{
    if (!choosesX11())
        return true;
    return !qEnvironmentVariableIsEmpty("DISPLAY") && serverAnswers();
}

QByteArrayList LinuxShell::toolkitArguments() const
{
    // Under Wayland too: there, nobody but X11 lets a program bring its window forward by itself.
    return qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ? QByteArrayList{"-platform", "xcb"}
                                                          : QByteArrayList();
}

void LinuxShell::observeReopening(std::function<void()>)
{
    // The desktop starts the program once more, and that start reaches us as a request.
}

void LinuxShell::setRegularPolicy()
{
    // Whoever has an ordinary window is a regular application here.
}

void LinuxShell::addMenuItem(const QString &, QChar, std::function<void()>)
{
    // There is no menu bar: the panel itself listens to the key.
}

bool LinuxShell::isActive()
{
    return std::ranges::any_of(windows(), [this](PanelWindow *window) { return isKey(*window); });
}

void LinuxShell::activate()
{
    Session *const current = session();
    const std::optional<xcb_window_t> active =
        current ? current->activeWindow() : std::optional<xcb_window_t>();
    const bool isOurs = std::ranges::any_of(
        windows(), [&](PanelWindow *window) { return active == windowId(*window); });
    if (active && !isOurs)
        current->rememberFocus(*active);
    const quint32 press = m_hotKey.lastPress();
    m_userTime = std::exchange(m_usedPress, press) != press ? press : XCB_CURRENT_TIME;
    for (PanelWindow *const window : windows()) {
        if (isVisible(*window))
            makeKeyAndOrderFront(*window);
    }
}

void LinuxShell::hide()
{
    for (PanelWindow *const window : windows()) {
        Session *const current = session();
        if (current && isKey(*window))
            current->giveBackAfter(windowId(*window));
        window->hide();
    }
}

bool LinuxShell::isVisible(PanelWindow &window)
{
    return window.isShown();
}

bool LinuxShell::isKey(PanelWindow &window)
{
    // The toolkit takes the hot key's grab for a loss of the focus; the window manager does not.
    Session *const current = session();
    const std::optional<xcb_window_t> active =
        current ? current->activeWindow() : std::optional<xcb_window_t>();
    return active ? *active == windowId(window) : window.hasFocus();
}

void LinuxShell::makeKeyAndOrderFront(PanelWindow &window)
{
    const bool wasShown = window.isShown();
    // Put in its place beforehand, a window is not seen to jump there.
    if (!wasShown)
        center(window);
    Session *const current = session();
    if (current)
        current->watch(windowId(window));
    window.show();
    if (current)
        current->bringForward(windowId(window), m_userTime, !wasShown);
}

void LinuxShell::center(PanelWindow &window)
{
    QRect place(QPoint(), window.size());
    place.moveCenter(window.screenArea().center());
    window.moveTo(place.topLeft());
}

void LinuxShell::style(PanelWindow &)
{
    // Its flags have made it so.
}

void LinuxShell::layUnder(PanelWindow &window, Material)
{
    if (Session *const current = session())
        current->blurBehind(windowId(window), window.size() * window.scale(),
                            cornerRadius * window.scale());
}

bool LinuxShell::isComposited()
{
    Session *const current = session();
    return current && current->isComposited();
}

void LinuxShell::observeComposition(std::function<void()> changed)
{
    m_compositionChanged = std::move(changed);
}
