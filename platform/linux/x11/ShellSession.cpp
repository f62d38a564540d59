#include "platform/linux/x11/ShellSession.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <xcb/shape.h>
#include <xcb/xfixes.h>

namespace {
constexpr xcb_window_t noWindow = XCB_WINDOW_NONE;

// A rectangle with round corners as a list of rectangles: x, y, width and height each.
std::vector<uint32_t> roundedRegion(QRect area, double radius)
{
    const QSize size = area.size();
    const auto rows = std::min(static_cast<int>(std::ceil(radius)), size.height() / 2);
    std::vector<uint32_t> region;
    const auto add = [&](int x, int y, int width, int height) {
        for (const int number : {area.x() + x, area.y() + y, width, height})
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

// The area that a bar at an edge of the root window reserves there, from the property
// _NET_WM_STRUT_PARTIAL: the widths at the four edges, and the beginning and the end of each.
QList<QRect> reservedAreas(std::span<const uint32_t> strut, QSize root)
{
    if (strut.size() < 12)
        return {};
    const auto number = [&](size_t index) { return static_cast<int>(strut[index]); };
    const auto span = [](int first, int last) { return std::max(last - first + 1, 0); };
    QList<QRect> areas;
    if (number(0) > 0)
        areas << QRect(0, number(4), number(0), span(number(4), number(5)));
    if (number(1) > 0) {
        areas << QRect(root.width() - number(1), number(6), number(1), span(number(6), number(7)));
    }
    if (number(2) > 0)
        areas << QRect(number(8), 0, span(number(8), number(9)), number(2));
    if (number(3) > 0) {
        areas << QRect(number(10), root.height() - number(3), span(number(10), number(11)),
                       number(3));
    }
    return areas;
}

// The larger part of the screen beside the bar.
QRect beside(QRect screen, QRect bar)
{
    const QRect covered = screen.intersected(bar);
    if (covered.isEmpty())
        return screen;
    QRect above = screen;
    above.setBottom(covered.top() - 1);
    QRect below = screen;
    below.setTop(covered.bottom() + 1);
    QRect before = screen;
    before.setRight(covered.left() - 1);
    QRect after = screen;
    after.setLeft(covered.right() + 1);
    return std::ranges::max({above, below, before, after}, {}, [](QRect part) {
        return part.isValid() ? part.width() * part.height() : 0;
    });
}
} // namespace

std::unique_ptr<ShellSession> ShellSession::open(std::function<void()> compositionChanged)
{
    auto session = std::unique_ptr<ShellSession>(new ShellSession(std::move(compositionChanged)));
    return session->m_events && session->start() ? std::move(session) : nullptr;
}

ShellSession::ShellSession(std::function<void()> compositionChanged)
    : m_events(X11Events::open([this](const xcb_generic_event_t &event) { handle(event); }))
    , m_compositionChanged(std::move(compositionChanged))
{
}

ShellSession::~ShellSession() = default;

std::optional<xcb_window_t> ShellSession::activeWindow()
{
    xcb_window_t window = noWindow;
    const auto cookie = xcb_ewmh_get_active_window(&m_ewmh, m_events->screen());
    const bool isTold = xcb_ewmh_get_active_window_reply(&m_ewmh, cookie, &window, nullptr);
    m_events->flush();
    return isTold ? std::optional(window) : std::nullopt;
}

void ShellSession::watch(xcb_window_t window)
{
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_FOCUS_CHANGE |
                            XCB_EVENT_MASK_VISIBILITY_CHANGE;
    xcb_change_window_attributes(connection(), window, XCB_CW_EVENT_MASK, &events);
    m_events->flush();
}

void ShellSession::prepare(xcb_window_t window)
{
    watch(window);
    // A normal window for window managers that use the first type that they know; tiling ones
    // search all types for a dialog.
    std::array kinds{m_ewmh._NET_WM_WINDOW_TYPE_NORMAL, m_ewmh._NET_WM_WINDOW_TYPE_DIALOG};
    // The toolkit shows the window by a connection of its own, which the server may read first. So
    // this waits for the server.
    const auto set =
        xcb_ewmh_set_wm_window_type_checked(&m_ewmh, window, kinds.size(), kinds.data());
    (void)XcbReply<xcb_generic_error_t>(xcb_request_check(connection(), set));
    m_events->flush();
}

void ShellSession::expectAt(xcb_window_t window, QPoint place)
{
    m_expected = window;
    m_expectedPlace = place;
}

void ShellSession::keepAbove(xcb_window_t window, bool isAbove)
{
    m_above = isAbove ? window : noWindow;
    changeState(window, isAbove ? XCB_EWMH_WM_STATE_ADD : XCB_EWMH_WM_STATE_REMOVE,
                m_ewmh._NET_WM_STATE_ABOVE);
}

void ShellSession::demandAttention(xcb_window_t window)
{
    changeState(window, XCB_EWMH_WM_STATE_ADD, m_ewmh._NET_WM_STATE_DEMANDS_ATTENTION);
}

void ShellSession::changeState(xcb_window_t window, xcb_ewmh_wm_state_action_t action,
                               xcb_atom_t state)
{
    xcb_ewmh_request_change_wm_state(&m_ewmh, m_events->screen(), window, action, state,
                                     XCB_ATOM_NONE, XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL);
    m_events->flush();
}

void ShellSession::bringForward(xcb_window_t window, quint32 userTime, bool isAwaited)
{
    m_userTime = userTime;
    m_activating = isAwaited ? window : noWindow;
    m_hiding = noWindow;
    requestFocus(window);
}

void ShellSession::giveBackAfter(xcb_window_t window)
{
    m_hiding = window;
    m_activating = noWindow;
}

void ShellSession::blurBehind(xcb_window_t window, double cornerRadius)
{
    m_described = window;
    m_cornerRadius = cornerRadius;
    watch(window);
    describe(sizeOf(window));
}

void ShellSession::setMargin(xcb_window_t window, int margin)
{
    m_described = window;
    m_margin = margin;
    m_expected = noWindow; // The margin moves the corner.
    watch(window);
    describe(sizeOf(window));
}

void ShellSession::setIcon(xcb_window_t window, const std::vector<uint32_t> &icon)
{
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, m_ewmh._NET_WM_ICON,
                        XCB_ATOM_CARDINAL, 32, static_cast<uint32_t>(icon.size()), icon.data());
    m_events->flush();
}

std::vector<xcb_window_t> ShellSession::childrenOf(const std::vector<xcb_window_t> &parents) const
{
    std::vector<xcb_query_tree_cookie_t> cookies;
    cookies.reserve(parents.size());
    for (const xcb_window_t parent : parents)
        cookies.push_back(xcb_query_tree(connection(), parent));
    std::vector<xcb_window_t> children;
    for (const xcb_query_tree_cookie_t cookie : cookies) {
        const XcbReply<xcb_query_tree_reply_t> reply(
            xcb_query_tree_reply(connection(), cookie, nullptr));
        if (reply) {
            const xcb_window_t *const first = xcb_query_tree_children(reply.get());
            children.insert(children.end(), first, first + reply->children_len);
        }
    }
    return children;
}

QRect ShellSession::withoutBars(QRect screen)
{
    // Window managers do not list bars that place themselves, and i3 lists none. So those of the
    // screen are read too, and those in frames.
    std::vector<xcb_window_t> windows = childrenOf({m_events->root()});
    const std::vector<xcb_window_t> framed = childrenOf(windows);
    windows.insert(windows.end(), framed.begin(), framed.end());
    xcb_ewmh_get_windows_reply_t list{};
    const auto cookie = xcb_ewmh_get_client_list(&m_ewmh, m_events->screen());
    if (xcb_ewmh_get_client_list_reply(&m_ewmh, cookie, &list, nullptr)) {
        windows.insert(windows.end(), list.windows, list.windows + list.windows_len);
        xcb_ewmh_get_windows_reply_wipe(&list);
    }
    // Most of the listed windows are also in frames.
    std::ranges::sort(windows);
    windows.erase(std::ranges::unique(windows).begin(), windows.end());
    std::vector<xcb_get_window_attributes_cookie_t> states;
    std::vector<xcb_get_property_cookie_t> struts;
    states.reserve(windows.size());
    struts.reserve(windows.size());
    for (const xcb_window_t window : windows) {
        states.push_back(xcb_get_window_attributes(connection(), window));
        struts.push_back(xcb_get_property(connection(), 0, window, m_ewmh._NET_WM_STRUT_PARTIAL,
                                          XCB_ATOM_CARDINAL, 0, 12));
    }
    const QSize root = sizeOf(m_events->root());
    for (size_t index = 0; index < windows.size(); ++index) {
        const XcbReply<xcb_get_window_attributes_reply_t> state(
            xcb_get_window_attributes_reply(connection(), states[index], nullptr));
        const XcbReply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(connection(), struts[index], nullptr));
        if (!state || state->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const auto numbers = Xcb::numbers(reply.get(), XCB_ATOM_CARDINAL);
        for (const QRect bar : reservedAreas(numbers, root))
            screen = beside(screen, bar);
    }
    m_events->flush();
    return screen;
}

bool ShellSession::start()
{
    if (!m_ewmh.init(connection(), m_events->screen()))
        return false;
    m_manager = Xcb::atom(connection(), "_NET_WM_CM_S" + std::to_string(m_events->screen()));
    m_blur = Xcb::atom(connection(), "_KDE_NET_WM_BLUR_BEHIND_REGION");
    m_frameMargins = Xcb::atom(connection(), "_GTK_FRAME_EXTENTS");
    followCompositor();
    m_isComposited = hasCompositor();
    m_blursBehind = announcesBlur();
    m_knowsFrameMargins = listsFrameMargins();
    m_events->flush();
    return m_manager != XCB_ATOM_NONE && m_blur != XCB_ATOM_NONE;
}

void ShellSession::followCompositor()
{
    const uint32_t changes = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection(), m_events->root(), XCB_CW_EVENT_MASK, &changes);
    const xcb_query_extension_reply_t *const extension =
        Xcb::extension(connection(), xcb_xfixes_id);
    if (!extension)
        return;
    m_selectionEvent = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    const XcbReply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection(), xcb_xfixes_query_version(connection(), 2, 0), nullptr));
    xcb_xfixes_select_selection_input(connection(), m_events->root(), m_manager,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

bool ShellSession::hasCompositor() const
{
    const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection(), xcb_get_selection_owner(connection(), m_manager), nullptr));
    return reply && reply->owner != noWindow;
}

void ShellSession::handle(const xcb_generic_event_t &event)
{
    const int type = event.response_type & 0x7f;
    if (type == XCB_MAP_NOTIFY) {
        const auto window = reinterpret_cast<const xcb_map_notify_event_t &>(event).window;
        if (window == m_activating)
            retryActivation();
        // Window managers drop the state when a window is withdrawn.
        if (window == m_above)
            keepAbove(window, true);
    } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto atom = reinterpret_cast<const xcb_property_notify_event_t &>(event).atom;
        if (atom == m_blur || atom == m_ewmh._NET_SUPPORTED)
            readComposition(m_isComposited);
    } else if (type == XCB_FOCUS_IN) {
        const auto &change = reinterpret_cast<const xcb_focus_in_event_t &>(event);
        if (change.event == m_activating && change.detail != XCB_NOTIFY_DETAIL_POINTER)
            m_activating = noWindow;
    } else if (type == XCB_VISIBILITY_NOTIFY) {
        sendConfigureNotify(reinterpret_cast<const xcb_visibility_notify_event_t &>(event).window);
    } else if (type == XCB_UNMAP_NOTIFY) {
        const auto window = reinterpret_cast<const xcb_unmap_notify_event_t &>(event).window;
        if (window == m_hiding) {
            m_hiding = noWindow;
            giveFocusBack();
        }
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        const auto &change = reinterpret_cast<const xcb_configure_notify_event_t &>(event);
        const QSize size(change.width, change.height);
        if (change.window == m_described && size != m_describedSize)
            describe(size);
    } else if (type == m_selectionEvent) {
        const auto owner =
            reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event).owner;
        readComposition(owner != noWindow);
    }
}

// Compositors announce blur on the root window.
bool ShellSession::announcesBlur() const
{
    const auto reply = Xcb::property(connection(), m_events->root(), m_blur, 0);
    return reply && reply->type != XCB_ATOM_NONE;
}

bool ShellSession::listsFrameMargins()
{
    xcb_ewmh_get_atoms_reply_t list{};
    const auto cookie = xcb_ewmh_get_supported(&m_ewmh, m_events->screen());
    if (!xcb_ewmh_get_supported_reply(&m_ewmh, cookie, &list, nullptr))
        return false;
    const bool isListed =
        std::ranges::count(std::span(list.atoms, list.atoms_len), m_frameMargins) > 0;
    xcb_ewmh_get_atoms_reply_wipe(&list);
    return isListed;
}

void ShellSession::readComposition(bool isComposited)
{
    const bool announces = announcesBlur();
    const bool lists = listsFrameMargins();
    m_events->flush();
    const bool isOther = isComposited != m_isComposited || announces != m_blursBehind ||
                         lists != m_knowsFrameMargins;
    m_isComposited = isComposited;
    m_blursBehind = announces;
    m_knowsFrameMargins = lists;
    if (isOther)
        m_compositionChanged();
}

// Qt reads the window's position while the window manager is still adding a frame, and is not
// notified later if the window ends up at the requested position. It would then keep the position
// of that moment, the corner of the screen: the panel would jump when it is dragged, and be centred
// on the wrong screen. Window managers send the same synthetic event for that purpose.
void ShellSession::sendConfigureNotify(xcb_window_t window)
{
    const auto sizeCookie = xcb_get_geometry(connection(), window);
    const auto placeCookie =
        xcb_translate_coordinates(connection(), window, m_events->root(), 0, 0);
    const XcbReply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(connection(), sizeCookie, nullptr));
    const XcbReply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(connection(), placeCookie, nullptr));
    if (size && place) {
        correctPlace(window, QPoint(place->dst_x, place->dst_y));
        xcb_configure_notify_event_t told{};
        told.response_type = XCB_CONFIGURE_NOTIFY;
        told.event = window;
        told.window = window;
        told.x = place->dst_x;
        told.y = place->dst_y;
        told.width = size->width;
        told.height = size->height;
        // All events have the same size on the wire, also if their structs are smaller.
        std::array<char, sizeof(xcb_raw_generic_event_t)> message{};
        static_assert(sizeof(told) <= message.size());
        std::memcpy(message.data(), &told, sizeof(told));
        xcb_send_event(connection(), 0, window, XCB_EVENT_MASK_STRUCTURE_NOTIFY, message.data());
    }
    m_events->flush();
}

// i3 leaves room for a title bar above each floating window, also above those that have none.
void ShellSession::correctPlace(xcb_window_t window, QPoint place)
{
    if (window != m_expected)
        return;
    m_expected = noWindow;
    if (place == m_expectedPlace)
        return;
    const std::array corner{static_cast<uint32_t>(m_expectedPlace.x()),
                            static_cast<uint32_t>(m_expectedPlace.y())};
    xcb_configure_window(connection(), window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         corner.data());
}

QSize ShellSession::sizeOf(xcb_window_t window) const
{
    const XcbReply<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), window), nullptr));
    return reply ? QSize(reply->width, reply->height) : QSize();
}

void ShellSession::describe(QSize size)
{
    m_describedSize = size;
    const QRect inside = QRect(QPoint(), size).adjusted(m_margin, m_margin, -m_margin, -m_margin);
    const std::vector<uint32_t> region = roundedRegion(inside, m_cornerRadius);
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_described, m_blur, XCB_ATOM_CARDINAL,
                        32, static_cast<uint32_t>(region.size()), region.data());

    const auto margin = static_cast<uint32_t>(m_margin);
    const std::array margins{margin, margin, margin, margin};
    // Without the property, window managers apply their own rules to the window.
    if (m_margin > 0) {
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_described, m_frameMargins,
                            XCB_ATOM_CARDINAL, 32, margins.size(), margins.data());
    } else {
        xcb_delete_property(connection(), m_described, m_frameMargins);
    }
    const xcb_rectangle_t area{static_cast<int16_t>(inside.x()), static_cast<int16_t>(inside.y()),
                               static_cast<uint16_t>(inside.width()),
                               static_cast<uint16_t>(inside.height())};
    const xcb_xfixes_region_t clickable = xcb_generate_id(connection());
    xcb_xfixes_create_region(connection(), clickable, 1, &area);
    xcb_xfixes_set_window_shape_region(
        connection(), m_described, XCB_SHAPE_SK_INPUT, 0, 0,
        m_margin > 0 ? clickable : static_cast<xcb_xfixes_region_t>(XCB_XFIXES_REGION_NONE));
    xcb_xfixes_destroy_region(connection(), clickable);
    m_events->flush();
}

void ShellSession::requestFocus(xcb_window_t window)
{
    if (m_userTime != XCB_CURRENT_TIME)
        xcb_ewmh_set_wm_user_time(&m_ewmh, window, m_userTime);
    const auto source = m_userTime != XCB_CURRENT_TIME ? XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL
                                                       : XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER;
    xcb_ewmh_request_change_active_window(&m_ewmh, m_events->screen(), window, source, m_userTime,
                                          m_previous);
    m_events->flush();
}

// The window manager may have refused the focus because of the window's age. But if the window has
// had the focus since and the user has switched to another window, activating again would steal the
// focus. Waiting for this reply delivers all earlier events, which are processed first.
void ShellSession::retryActivation()
{
    (void)activeWindow();
    QMetaObject::invokeMethod(
        m_events.get(),
        [this] {
            if (m_activating != noWindow)
                requestFocus(std::exchange(m_activating, noWindow));
        },
        Qt::QueuedConnection);
}

void ShellSession::giveFocusBack()
{
    const xcb_window_t window = std::exchange(m_previous, noWindow);
    if (window == noWindow)
        return;
    // A window that was closed, minimised or moved to another desktop meanwhile is not activated.
    const XcbReply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        connection(), xcb_get_window_attributes(connection(), window), nullptr));
    if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE) {
        xcb_ewmh_request_change_active_window(&m_ewmh, m_events->screen(), window,
                                              XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME,
                                              noWindow);
    }
    m_events->flush();
}
