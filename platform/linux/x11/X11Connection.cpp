#include "platform/linux/x11/X11Connection.h"

#include "platform/linux/x11/WindowOwner.h"
#include "platform/linux/x11/WindowProcess.h"
#include "platform/linux/x11/XcbReply.h"

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <QByteArray>

#include <algorithm>
#include <span>
#include <vector>

namespace {
using PropertyReply = XcbReply<xcb_get_property_reply_t>;

// Applications choose these themselves, so megabytes of them are not fetched: 4 KiB.
constexpr uint32_t maxTextLength = 1024;
constexpr uint32_t maxListLength = 1024;

// The server has no room for more windows than these.
constexpr uint32_t maxWindows = 1U << 20;
// How many are described for a list, and how many at once in search of one.
constexpr size_t maxDescribed = 1024;
constexpr size_t describedAtOnce = 64;

constexpr uint32_t allDesktops = 0xffffffff;

// What a client sees of a window that is of no use any more is an empty reply, never a crash.
std::span<const uint32_t> numbers(const PropertyReply &reply, xcb_atom_t type)
{
    if (!reply || reply->format != 32 || reply->type != type)
        return {};
    const auto length = static_cast<size_t>(xcb_get_property_value_length(reply.get()));
    return {static_cast<const uint32_t *>(xcb_get_property_value(reply.get())),
            length / sizeof(uint32_t)};
}

std::optional<uint32_t> number(const PropertyReply &reply, xcb_atom_t type)
{
    const std::span<const uint32_t> all = numbers(reply, type);
    return all.empty() ? std::nullopt : std::optional(all.front());
}

QByteArray bytes(const PropertyReply &reply)
{
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(reply.get())),
            xcb_get_property_value_length(reply.get())};
}

bool contains(std::span<const uint32_t> atoms, xcb_atom_t atom)
{
    return std::ranges::find(atoms, atom) != atoms.end();
}
} // namespace

class X11Connection::Session
{
public:
    static std::unique_ptr<Session> open()
    {
        auto session = std::unique_ptr<Session>(new Session);
        return session->isAlive() && session->prepare() ? std::move(session) : nullptr;
    }

    ~Session()
    {
        xcb_ewmh_connection_wipe(&m_ewmh);
        xcb_disconnect(m_connection);
    }

    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    [[nodiscard]] bool isAlive() const { return xcb_connection_has_error(m_connection) == 0; }

    std::optional<X11Snapshot> snapshot()
    {
        dropEvents();
        const Screen screen = look();
        if (!isAlive())
            return std::nullopt;

        X11Snapshot result;
        for (const uint32_t id : screen.byAge)
            result.clients.append(X11WindowId{id});
        const std::span<const uint32_t> all(screen.frontToBack);
        result.windows = describe(all.first(std::min(all.size(), maxDescribed)), screen.desktop);
        result.active = activeWindow(screen);
        return isAlive() ? std::optional(result) : std::nullopt;
    }

    std::optional<X11Front> front(const std::set<ProcessId> &ours)
    {
        dropEvents();
        const Screen screen = look();
        const std::optional<X11Window> active = activeWindow(screen);
        X11Front result;
        if (active && isOurs(*active, ours))
            result.window = nearest(screen, ours);
        else
            result.window = active;
        return isAlive() ? std::optional(result) : std::nullopt;
    }

    std::optional<ProcessId> activeOwner()
    {
        dropEvents();
        const std::optional<uint32_t> active =
            number(answer(ask(m_root, m_ewmh._NET_ACTIVE_WINDOW, 1)), XCB_ATOM_WINDOW);
        if (!active || *active == XCB_WINDOW_NONE)
            return std::nullopt;
        return owner(m_process->ask(*active)).value_or(ProcessId{});
    }

    bool activate(xcb_window_t window)
    {
        // Several window managers leave a window where it is that is on another desktop, or whose
        // request names no time.
        const auto desktopCookie = ask(window, m_ewmh._NET_WM_DESKTOP, 1);
        const auto currentCookie = ask(m_root, m_ewmh._NET_CURRENT_DESKTOP, 1);
        const std::optional<uint32_t> desktop = number(answer(desktopCookie), XCB_ATOM_CARDINAL);
        const std::optional<uint32_t> current = number(answer(currentCookie), XCB_ATOM_CARDINAL);
        const xcb_timestamp_t now = serverTime();
        if (desktop && current && *desktop != allDesktops && *desktop != *current)
            xcb_ewmh_request_change_current_desktop(&m_ewmh, m_screen, *desktop, now);
        // As a task bar would ask: what the user told us to bring forward is no theft of focus.
        xcb_ewmh_request_change_active_window(
            &m_ewmh, m_screen, window, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, now, XCB_WINDOW_NONE);
        return arrived();
    }

    bool close(const QList<X11WindowId> &windows)
    {
        for (const X11WindowId window : windows) {
            xcb_ewmh_request_close_window(&m_ewmh, m_screen, static_cast<xcb_window_t>(window),
                                          XCB_CURRENT_TIME, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
        }
        return arrived();
    }

private:
    // What the window manager tells of all windows together.
    struct Screen
    {
        std::vector<uint32_t> byAge;
        std::vector<uint32_t> frontToBack;
        uint32_t active = XCB_WINDOW_NONE;
        std::optional<uint32_t> desktop; ///< The one that is shown.
    };

    // The questions about one window that are on their way.
    struct Asked
    {
        xcb_get_property_cookie_t name, legacyName, windowClass, state, type, desktop;
        WindowProcess::Asked process;
    };

    Session() : m_connection(xcb_connect(nullptr, &m_screen)) {}

    bool prepare()
    {
        xcb_intern_atom_cookie_t *const atoms = xcb_ewmh_init_atoms(m_connection, &m_ewmh);
        if (!xcb_ewmh_init_atoms_replies(&m_ewmh, atoms, nullptr) || m_screen >= m_ewmh.nb_screens)
            return false;
        m_root = m_ewmh.screens[m_screen]->root;
        m_process.emplace(m_connection, m_ewmh._NET_WM_PID);
        return isAlive();
    }

    [[nodiscard]] xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property,
                                                uint32_t length) const
    {
        return xcb_get_property(m_connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                length);
    }

    [[nodiscard]] PropertyReply answer(xcb_get_property_cookie_t cookie) const
    {
        return PropertyReply(xcb_get_property_reply(m_connection, cookie, nullptr));
    }

    // The server tells its time with each change of a property, also with one that changes nothing.
    [[nodiscard]] xcb_timestamp_t serverTime() const
    {
        const xcb_window_t witness = xcb_generate_id(m_connection);
        const uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, witness, m_root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                          &wanted);
        xcb_change_property(m_connection, XCB_PROP_MODE_APPEND, witness, XCB_ATOM_WM_NAME,
                            XCB_ATOM_STRING, 8, 0, nullptr);
        xcb_destroy_window(m_connection, witness);
        xcb_timestamp_t time = XCB_CURRENT_TIME;
        if (!arrived())
            return time;
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_queued_event(m_connection)}) {
            const auto *const change =
                reinterpret_cast<const xcb_property_notify_event_t *>(event.get());
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && change->window == witness)
                time = change->time;
        }
        return time;
    }

    // True when all that was sent has reached the server.
    [[nodiscard]] bool arrived() const
    {
        const XcbReply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        return reply != nullptr;
    }

    [[nodiscard]] Screen look() const
    {
        const auto stackingCookie = ask(m_root, m_ewmh._NET_CLIENT_LIST_STACKING, maxWindows);
        const auto clientsCookie = ask(m_root, m_ewmh._NET_CLIENT_LIST, maxWindows);
        const auto activeCookie = ask(m_root, m_ewmh._NET_ACTIVE_WINDOW, 1);
        const auto desktopCookie = ask(m_root, m_ewmh._NET_CURRENT_DESKTOP, 1);
        const PropertyReply stacking = answer(stackingCookie);
        const PropertyReply clients = answer(clientsCookie);
        const PropertyReply active = answer(activeCookie);
        const PropertyReply desktop = answer(desktopCookie);

        const std::span<const uint32_t> byAge = numbers(clients, XCB_ATOM_WINDOW);
        std::span<const uint32_t> backToFront = numbers(stacking, XCB_ATOM_WINDOW);
        if (backToFront.empty())
            backToFront = byAge;
        return {.byAge = {byAge.begin(), byAge.end()},
                .frontToBack = {backToFront.rbegin(), backToFront.rend()},
                .active = number(active, XCB_ATOM_WINDOW).value_or(XCB_WINDOW_NONE),
                .desktop = number(desktop, XCB_ATOM_CARDINAL)};
    }

    // The window manager may name one that is gone, or that it keeps for itself.
    [[nodiscard]] std::optional<X11Window> activeWindow(const Screen &screen)
    {
        if (std::ranges::find(screen.frontToBack, screen.active) == screen.frontToBack.end())
            return std::nullopt;
        return describe(std::span(&screen.active, 1), screen.desktop).constFirst();
    }

    [[nodiscard]] std::optional<X11Window> nearest(const Screen &screen,
                                                   const std::set<ProcessId> &ours)
    {
        std::span<const uint32_t> rest(screen.frontToBack);
        while (!rest.empty()) {
            const size_t count = std::min(rest.size(), describedAtOnce);
            for (const X11Window &window : describe(rest.first(count), screen.desktop)) {
                if (window.isOrdinary() && window.onScreen && !isOurs(window, ours))
                    return window;
            }
            rest = rest.subspan(count);
        }
        return std::nullopt;
    }

    // All questions go out before the first answer is waited for.
    [[nodiscard]] QList<X11Window> describe(std::span<const uint32_t> ids,
                                            std::optional<uint32_t> currentDesktop)
    {
        std::vector<Asked> asked;
        asked.reserve(ids.size());
        for (const uint32_t id : ids)
            asked.push_back(askAbout(id));
        QList<X11Window> windows;
        windows.reserve(static_cast<qsizetype>(ids.size()));
        for (size_t i = 0; i < ids.size(); ++i)
            windows.append(described(ids[i], asked[i], currentDesktop));
        return windows;
    }

    [[nodiscard]] std::optional<ProcessId> owner(const WindowProcess::Asked &asked) const
    {
        const std::optional<uint32_t> process = m_process->answer(asked);
        return process ? std::optional(ProcessId{*process}) : std::nullopt;
    }

    [[nodiscard]] Asked askAbout(xcb_window_t id) const
    {
        return {.name = ask(id, m_ewmh._NET_WM_NAME, maxTextLength),
                .legacyName = ask(id, XCB_ATOM_WM_NAME, maxTextLength),
                .windowClass = ask(id, XCB_ATOM_WM_CLASS, maxTextLength),
                .state = ask(id, m_ewmh._NET_WM_STATE, maxListLength),
                .type = ask(id, m_ewmh._NET_WM_WINDOW_TYPE, maxListLength),
                .desktop = ask(id, m_ewmh._NET_WM_DESKTOP, 1),
                .process = m_process->ask(id)};
    }

    // Some come whether they were asked for or not, and would be kept for ever.
    void dropEvents() const
    {
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        }
    }

    [[nodiscard]] X11Window described(xcb_window_t id, const Asked &asked,
                                      std::optional<uint32_t> currentDesktop) const
    {
        X11Window window;
        window.id = X11WindowId{id};
        const PropertyReply name = answer(asked.name);
        const PropertyReply legacyName = answer(asked.legacyName);
        const QList<QByteArray> classes = bytes(answer(asked.windowClass)).split('\0');
        const PropertyReply state = answer(asked.state);
        const PropertyReply type = answer(asked.type);
        const std::optional<uint32_t> desktop = number(answer(asked.desktop), XCB_ATOM_CARDINAL);

        window.title = text(name);
        if (!window.title)
            window.title = text(legacyName);
        window.instanceName = QString::fromUtf8(classes.value(0));
        window.className = QString::fromUtf8(classes.value(1));
        window.kind = kind(numbers(type, XCB_ATOM_ATOM));
        const std::span<const uint32_t> states = numbers(state, XCB_ATOM_ATOM);
        window.onScreen =
            !contains(states, m_ewmh._NET_WM_STATE_HIDDEN) &&
            (!desktop || !currentDesktop || *desktop == allDesktops || *desktop == *currentDesktop);
        window.inTaskBar = !contains(states, m_ewmh._NET_WM_STATE_SKIP_TASKBAR);
        window.owner = owner(asked.process);
        return window;
    }

    [[nodiscard]] std::optional<QString> text(const PropertyReply &reply) const
    {
        if (!reply || reply->format != 8)
            return std::nullopt;
        // Some write a null character behind it, which would end whatever the title becomes part
        // of.
        const QByteArray value = bytes(reply).split('\0').constFirst();
        if (reply->type == m_ewmh.UTF8_STRING)
            return QString::fromUtf8(value);
        if (reply->type == XCB_ATOM_STRING)
            return QString::fromLatin1(value);
        return std::nullopt;
    }

    // The first type that we know decides; a window that names none is an ordinary one.
    [[nodiscard]] X11Window::Kind kind(std::span<const uint32_t> types) const
    {
        for (const xcb_atom_t type : types) {
            if (type == m_ewmh._NET_WM_WINDOW_TYPE_NORMAL ||
                type == m_ewmh._NET_WM_WINDOW_TYPE_DIALOG)
                return X11Window::Kind::ordinary;
            if (type == m_ewmh._NET_WM_WINDOW_TYPE_DESKTOP)
                return X11Window::Kind::desktop;
            for (const xcb_atom_t extra :
                 {m_ewmh._NET_WM_WINDOW_TYPE_DOCK, m_ewmh._NET_WM_WINDOW_TYPE_TOOLBAR,
                  m_ewmh._NET_WM_WINDOW_TYPE_MENU, m_ewmh._NET_WM_WINDOW_TYPE_UTILITY,
                  m_ewmh._NET_WM_WINDOW_TYPE_SPLASH, m_ewmh._NET_WM_WINDOW_TYPE_NOTIFICATION,
                  m_ewmh._NET_WM_WINDOW_TYPE_DROPDOWN_MENU, m_ewmh._NET_WM_WINDOW_TYPE_POPUP_MENU,
                  m_ewmh._NET_WM_WINDOW_TYPE_TOOLTIP, m_ewmh._NET_WM_WINDOW_TYPE_COMBO,
                  m_ewmh._NET_WM_WINDOW_TYPE_DND}) {
                if (type == extra)
                    return X11Window::Kind::extra;
            }
        }
        return X11Window::Kind::ordinary;
    }

    int m_screen = 0;
    xcb_connection_t *m_connection;
    xcb_ewmh_connection_t m_ewmh{};
    xcb_window_t m_root = XCB_WINDOW_NONE;
    std::optional<WindowProcess> m_process; ///< There from the moment the session is.
};

X11Connection::X11Connection() = default;

X11Connection::~X11Connection() = default;

X11Connection::Session *X11Connection::session()
{
    if (m_session && !m_session->isAlive())
        m_session.reset();
    if (!m_session && !qEnvironmentVariableIsEmpty("DISPLAY"))
        m_session = Session::open();
    return m_session.get();
}

std::optional<X11Snapshot> X11Connection::snapshot()
{
    Session *const current = session();
    return current ? current->snapshot() : std::nullopt;
}

std::optional<X11Front> X11Connection::front(const std::set<ProcessId> &ours)
{
    Session *const current = session();
    return current ? current->front(ours) : std::nullopt;
}

std::optional<ProcessId> X11Connection::activeOwner()
{
    Session *const current = session();
    return current ? current->activeOwner() : std::nullopt;
}

bool X11Connection::activate(X11WindowId window)
{
    Session *const current = session();
    return current && current->activate(static_cast<xcb_window_t>(window));
}

bool X11Connection::close(const QList<X11WindowId> &windows)
{
    Session *const current = session();
    return current && current->close(windows);
}
