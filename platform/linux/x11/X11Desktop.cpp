#include "platform/linux/x11/X11Desktop.h"

#include "platform/PlatformError.h"
#include "platform/linux/x11/Ewmh.h"
#include "platform/linux/x11/Xcb.h"

#include <QByteArray>

#include <algorithm>
#include <span>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
constexpr std::chrono::milliseconds answerLimit{2000};

using PropertyReply = XcbReply<xcb_get_property_reply_t>;

// Applications set these properties, so their size is limited to 4 KiB.
constexpr uint32_t maxTextLength = 1024;
constexpr uint32_t maxListLength = 1024;

// More windows than a server can have.
constexpr uint32_t maxWindows = 1U << 20;
// How many windows are described for a list, and in one batch of a search.
constexpr size_t maxDescribed = 1024;
constexpr size_t describedAtOnce = 64;

constexpr uint32_t allDesktops = 0xffffffff;

std::optional<uint32_t> first(const PropertyReply &reply, xcb_atom_t type)
{
    const std::span<const uint32_t> all = Xcb::numbers(reply.get(), type);
    return all.empty() ? std::nullopt : std::optional(all.front());
}

QByteArray bytes(const PropertyReply &reply)
{
    const std::span<const uint8_t> all = Xcb::bytes(reply.get());
    return {reinterpret_cast<const char *>(all.data()), static_cast<qsizetype>(all.size())};
}

bool contains(std::span<const uint32_t> ids, uint32_t id)
{
    return std::ranges::find(ids, id) != ids.end();
}
} // namespace

bool X11Window::isOurs(const std::set<ProcessId> &ours) const
{
    return className.compare("Quillon"_L1, Qt::CaseInsensitive) == 0 ||
           (process && ours.contains(*process));
}

WindowApplication applicationOf(const X11Window &window)
{
    if (const auto application = DesktopEntries::forWindow(window))
        return {application->names.constFirst(), application->location};
    for (const QString &name : {window.className, window.instanceName}) {
        if (!name.isEmpty())
            return {name, DesktopEntries::locationWithoutEntry(name)};
    }
    return {};
}

// The window in which the user works, if any.
struct X11Desktop::FrontWindow
{
    std::optional<X11Window> window;
};

// A connection to the X server. Every call may wait for the server without bound, and fails if that
// has gone. On the queue's thread.
class X11Desktop::Session
{
public:
    static std::unique_ptr<Session> open()
    {
        auto session = std::unique_ptr<Session>(new Session);
        return session->isAlive() && session->prepare() ? std::move(session) : nullptr;
    }

    ~Session() = default;
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    [[nodiscard]] bool isAlive() const { return Xcb::isAlive(m_display.connection); }

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

    std::optional<FrontWindow> front(const std::set<ProcessId> &ours)
    {
        dropEvents();
        const Screen screen = look();
        const std::optional<X11Window> active = activeWindow(screen);
        FrontWindow result;
        if (active && active->isOurs(ours))
            result.window = nearest(screen, ours);
        else
            result.window = active;
        return isAlive() ? std::optional(result) : std::nullopt;
    }

    std::optional<ProcessId> activeProcess()
    {
        dropEvents();
        const auto activeCookie = ask(root(), m_ewmh._NET_ACTIVE_WINDOW, 1);
        const auto clientsCookie = ask(root(), m_ewmh._NET_CLIENT_LIST, maxWindows);
        const std::optional<uint32_t> active = first(answer(activeCookie), XCB_ATOM_WINDOW);
        const PropertyReply clients = answer(clientsCookie);
        // Some window managers still name a destroyed window, whose id a new window may have before
        // it is shown.
        if (!active || !contains(Xcb::numbers(clients.get(), XCB_ATOM_WINDOW), *active))
            return std::nullopt;
        return answered(m_process->ask(*active)).value_or(ProcessId{});
    }

    bool activate(xcb_window_t window)
    {
        // Several window managers do not activate a window on another desktop, or without a time.
        const auto desktopCookie = ask(window, m_ewmh._NET_WM_DESKTOP, 1);
        const auto currentCookie = ask(root(), m_ewmh._NET_CURRENT_DESKTOP, 1);
        const std::optional<uint32_t> desktop = first(answer(desktopCookie), XCB_ATOM_CARDINAL);
        const std::optional<uint32_t> current = first(answer(currentCookie), XCB_ATOM_CARDINAL);
        const xcb_timestamp_t now = serverTime();
        if (desktop && current && *desktop != allDesktops && *desktop != *current)
            xcb_ewmh_request_change_current_desktop(&m_ewmh, m_display.number, *desktop, now);
        // Like a task bar, since the user requested it.
        xcb_ewmh_request_change_active_window(&m_ewmh, m_display.number, window,
                                              XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, now,
                                              XCB_WINDOW_NONE);
        return arrived();
    }

    bool close(const QList<X11WindowId> &windows)
    {
        for (const X11WindowId window : windows) {
            xcb_ewmh_request_close_window(&m_ewmh, m_display.number,
                                          static_cast<xcb_window_t>(window), XCB_CURRENT_TIME,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
        }
        return arrived();
    }

private:
    // The window manager's properties of the screen.
    struct Screen
    {
        std::vector<uint32_t> byAge;
        std::vector<uint32_t> frontToBack;
        uint32_t active = XCB_WINDOW_NONE;
        std::optional<uint32_t> desktop; ///< The current one.
    };

    // Pending requests about one window.
    struct Asked
    {
        xcb_get_property_cookie_t name, legacyName, windowClass, state, type, desktop;
        WindowProcess::Asked process;
    };

    Session() : m_display(Xcb::open()) {}

    [[nodiscard]] xcb_connection_t *connection() const { return m_display.connection.get(); }
    [[nodiscard]] xcb_window_t root() const { return m_display.screen->root; }

    bool prepare()
    {
        if (!m_ewmh.init(connection(), m_display.number))
            return false;
        m_process.emplace(connection(), m_ewmh._NET_WM_PID);
        return isAlive();
    }

    [[nodiscard]] xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property,
                                                uint32_t length) const
    {
        return xcb_get_property(connection(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                length);
    }

    [[nodiscard]] PropertyReply answer(xcb_get_property_cookie_t cookie) const
    {
        return PropertyReply(xcb_get_property_reply(connection(), cookie, nullptr));
    }

    // Each change of a property has the server's time, even if it appends nothing.
    [[nodiscard]] xcb_timestamp_t serverTime() const
    {
        const xcb_window_t witness = xcb_generate_id(connection());
        const uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(connection(), XCB_COPY_FROM_PARENT, witness, root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                          &wanted);
        xcb_change_property(connection(), XCB_PROP_MODE_APPEND, witness, XCB_ATOM_WM_NAME,
                            XCB_ATOM_STRING, 8, 0, nullptr);
        xcb_destroy_window(connection(), witness);
        xcb_timestamp_t time = XCB_CURRENT_TIME;
        if (!arrived())
            return time;
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection())}) {
            const auto *const change =
                reinterpret_cast<const xcb_property_notify_event_t *>(event.get());
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && change->window == witness)
                time = change->time;
        }
        return time;
    }

    // Whether all requests have reached the server.
    [[nodiscard]] bool arrived() const
    {
        const XcbReply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
        return reply != nullptr;
    }

    [[nodiscard]] Screen look() const
    {
        const auto stackingCookie = ask(root(), m_ewmh._NET_CLIENT_LIST_STACKING, maxWindows);
        const auto clientsCookie = ask(root(), m_ewmh._NET_CLIENT_LIST, maxWindows);
        const auto activeCookie = ask(root(), m_ewmh._NET_ACTIVE_WINDOW, 1);
        const auto desktopCookie = ask(root(), m_ewmh._NET_CURRENT_DESKTOP, 1);
        const PropertyReply stacking = answer(stackingCookie);
        const PropertyReply clients = answer(clientsCookie);
        const PropertyReply active = answer(activeCookie);
        const PropertyReply desktop = answer(desktopCookie);

        const std::span<const uint32_t> byAge = Xcb::numbers(clients.get(), XCB_ATOM_WINDOW);
        std::span<const uint32_t> backToFront = Xcb::numbers(stacking.get(), XCB_ATOM_WINDOW);
        if (backToFront.empty())
            backToFront = byAge;
        return {.byAge = {byAge.begin(), byAge.end()},
                .frontToBack = {backToFront.rbegin(), backToFront.rend()},
                .active = first(active, XCB_ATOM_WINDOW).value_or(XCB_WINDOW_NONE),
                .desktop = first(desktop, XCB_ATOM_CARDINAL)};
    }

    // The window manager may name a destroyed window, or one of its own.
    [[nodiscard]] std::optional<X11Window> activeWindow(const Screen &screen)
    {
        if (!contains(screen.frontToBack, screen.active))
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
                if (window.isOrdinary() && window.onScreen && !window.isOurs(ours))
                    return window;
            }
            rest = rest.subspan(count);
        }
        return std::nullopt;
    }

    // Sends all requests before waiting for the first reply.
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

    [[nodiscard]] std::optional<ProcessId> answered(const WindowProcess::Asked &asked) const
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

    // Some events are sent without being selected, and would be queued for ever.
    void dropEvents() const
    {
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection())}) {
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
        const std::optional<uint32_t> desktop = first(answer(asked.desktop), XCB_ATOM_CARDINAL);

        window.title = text(name);
        if (!window.title)
            window.title = text(legacyName);
        window.instanceName = QString::fromUtf8(classes.value(0));
        window.className = QString::fromUtf8(classes.value(1));
        window.kind = kind(Xcb::numbers(type.get(), XCB_ATOM_ATOM));
        const std::span<const uint32_t> states = Xcb::numbers(state.get(), XCB_ATOM_ATOM);
        window.onScreen =
            !contains(states, m_ewmh._NET_WM_STATE_HIDDEN) &&
            (!desktop || !currentDesktop || *desktop == allDesktops || *desktop == *currentDesktop);
        window.inTaskBar = !contains(states, m_ewmh._NET_WM_STATE_SKIP_TASKBAR);
        window.process = answered(asked.process);
        return window;
    }

    [[nodiscard]] std::optional<QString> text(const PropertyReply &reply) const
    {
        if (!reply || reply->format != 8)
            return std::nullopt;
        // Some applications append a null character, which would cut texts that contain the title.
        const QByteArray value = bytes(reply).split('\0').constFirst();
        if (reply->type == m_ewmh.UTF8_STRING)
            return QString::fromUtf8(value);
        if (reply->type == XCB_ATOM_STRING)
            return QString::fromLatin1(value);
        return std::nullopt;
    }

    // Uses the first known type; a window without one is normal.
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

    XcbDisplay m_display;
    Ewmh m_ewmh;
    std::optional<WindowProcess> m_process; ///< Set when the session is open.
};

// Created by the first request, and again after the server was gone.
struct X11Desktop::Connection
{
    Session *session()
    {
        if (current && !current->isAlive())
            current.reset();
        if (!current && !qEnvironmentVariableIsEmpty("DISPLAY"))
            current = Session::open();
        return current.get();
    }

    std::unique_ptr<Session> current;
};

X11Desktop::X11Desktop() : m_connection(std::make_shared<Connection>()) {}

X11Desktop::~X11Desktop() = default;

template <typename Question>
auto X11Desktop::ask(const Question &question) -> decltype(question(std::declval<Session &>()))
{
    using Answer = decltype(question(std::declval<Session &>()));
    return m_queue
        .call(
            [connection = m_connection, question] {
                Session *const session = connection->session();
                return session ? question(*session) : Answer();
            },
            answerLimit)
        .value_or(Answer());
}

std::optional<X11Snapshot> X11Desktop::snapshot()
{
    return ask([](Session &session) { return session.snapshot(); });
}

std::optional<X11Window> X11Desktop::front(const std::set<ProcessId> &ours)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return std::nullopt;
    const std::optional<FrontWindow> front =
        ask([ours](Session &session) { return session.front(ours); });
    if (!front)
        throw PlatformError(u"The X server does not answer."_s);
    return front->window;
}

std::optional<ProcessId> X11Desktop::activeProcess()
{
    return ask([](Session &session) { return session.activeProcess(); });
}

void X11Desktop::activate(X11WindowId window)
{
    (void)ask(
        [window](Session &session) { return session.activate(static_cast<xcb_window_t>(window)); });
}

void X11Desktop::close(const QList<X11WindowId> &windows)
{
    (void)ask([windows](Session &session) { return session.close(windows); });
}
