#include "platform/linux/x11/LinuxShell.h"

#include "base/WorkQueue.h"
#include "platform/NativeWindow.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/ShellSession.h"
#include "platform/linux/x11/Xcb.h"

#include <QByteArrayView>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
// A server that has not answered a first connection by then will not show a panel either.
constexpr std::chrono::milliseconds serverLimit{5000};

// What the panel's own corners look like.
constexpr double cornerRadius = 14;

xcb_window_t windowId(NativeWindow &window)
{
    return static_cast<xcb_window_t>(window.handle());
}

bool serverAnswers()
{
    WorkQueue probe("x11.probe");
    const auto connects = [] { return Xcb::open().connection != nullptr; };
    return probe.call(connects, serverLimit).value_or(false);
}

// The resolution of fonts at which things have the sizes that they were drawn for.
constexpr int usualResolution = 96;

// What desktops write for toolkits to read; 0 where they do not.
double desktopResolution()
{
    const XcbDisplay display = Xcb::open();
    if (!display.connection)
        return 0;
    xcb_connection_t *const connection = display.connection.get();
    // The resources of all screens are on the first one.
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    constexpr uint32_t longest = 16 * 1024; // In units of four bytes.
    const XcbReply<xcb_get_property_reply_t> resources(
        xcb_get_property_reply(connection,
                               xcb_get_property(connection, 0, root, XCB_ATOM_RESOURCE_MANAGER,
                                                XCB_ATOM_STRING, 0, longest),
                               nullptr));
    const std::span<const uint8_t> text = Xcb::bytes(resources.get());
    const QByteArrayView lines(text.data(), static_cast<qsizetype>(text.size()));
    for (const QByteArray &line : lines.toByteArray().split('\n')) {
        if (line.startsWith("Xft.dpi:"))
            return line.mid(line.indexOf(':') + 1).trimmed().toDouble();
    }
    return 0;
}

// Who chose another of the toolkit's ways to show windows knows what it needs.
bool choosesX11()
{
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    return chosen.isEmpty() || chosen.startsWith("xcb");
}
} // namespace

LinuxShell::LinuxShell(const LinuxHotKey &hotKey) : m_hotKey(hotKey) {}

LinuxShell::~LinuxShell() = default;

ShellSession *LinuxShell::session()
{
    if (!m_session) {
        m_session = ShellSession::open([this] {
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

std::optional<int> LinuxShell::fontResolution()
{
    // Desktops that measure the screen come to 99 or 101. Scaled by that, hairlines are blurred and
    // corners notched: quarters are what all that is drawn can be scaled by.
    const double told = desktopResolution();
    const double quarters = std::round(4 * told / usualResolution);
    return quarters > 0 ? std::optional(static_cast<int>(quarters * usualResolution / 4))
                        : std::nullopt;
}

void LinuxShell::observeReopening(std::function<void(bool)>)
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
    return std::ranges::any_of(windows(), [this](NativeWindow *window) { return isKey(*window); });
}

void LinuxShell::activate()
{
    if (ShellSession *const current = session()) {
        const xcb_window_t active = current->activeWindow().value_or(XCB_WINDOW_NONE);
        const bool isOurs = std::ranges::any_of(
            windows(), [&](NativeWindow *window) { return windowId(*window) == active; });
        if (!isOurs)
            current->rememberFocus(active);
    }
    const quint32 press = m_hotKey.lastPress();
    m_userTime = std::exchange(m_usedPress, press) != press ? press : XCB_CURRENT_TIME;
    for (NativeWindow *const window : windows()) {
        if (isVisible(*window))
            makeKeyAndOrderFront(*window);
    }
}

void LinuxShell::hide()
{
    m_usedPress = m_hotKey.lastPress();
    for (NativeWindow *const window : windows()) {
        ShellSession *const current = session();
        if (current && isKey(*window))
            current->giveBackAfter(windowId(*window));
        window->hide();
    }
}

bool LinuxShell::isVisible(NativeWindow &window)
{
    return window.isShown();
}

bool LinuxShell::isKey(NativeWindow &window)
{
    // The toolkit takes the hot key's grab for a loss of the focus; the window manager does not.
    ShellSession *const current = session();
    const std::optional<xcb_window_t> active =
        current ? current->activeWindow() : std::optional<xcb_window_t>();
    return active ? *active == windowId(window) : window.hasFocus();
}

void LinuxShell::makeKeyAndOrderFront(NativeWindow &window)
{
    const bool wasShown = window.isShown();
    // Put in its place beforehand, a window is not seen to jump there.
    if (!wasShown)
        center(window);
    ShellSession *const current = session();
    if (current)
        current->prepare(windowId(window));
    window.show();
    if (current)
        current->bringForward(windowId(window), m_userTime, !wasShown);
}

void LinuxShell::center(NativeWindow &window)
{
    const QRect area = window.screenArea();
    const QSize fitting = window.size().boundedTo(area.size()).expandedTo(window.minimumSize());
    if (!area.isEmpty() && fitting != window.size())
        window.resize(fitting);
    QRect place(QPoint(), area.isEmpty() ? window.size() : fitting);
    place.moveCenter(area.center());
    // Whatever does not fit, the command field does.
    place.moveTopLeft({std::max(place.left(), area.left()), std::max(place.top(), area.top())});
    window.moveTo(place.topLeft());
}

void LinuxShell::style(NativeWindow &)
{
    // Its flags have made it so.
}

void LinuxShell::placeMaterialBehind(NativeWindow &window, Material)
{
    if (ShellSession *const current = session())
        current->blurBehind(windowId(window), window.size() * window.scale(),
                            cornerRadius * window.scale());
}

void LinuxShell::keepAbove(NativeWindow &window, bool isAbove)
{
    if (ShellSession *const current = session())
        current->keepAbove(windowId(window), isAbove);
}

void LinuxShell::requestAttention(NativeWindow &window, Urgency)
{
    if (ShellSession *const current = session())
        current->demandAttention(windowId(window));
}

void LinuxShell::notify(const QString &text, Urgency urgency, std::function<void()> chosen)
{
    m_notice.show(text,
                  urgency == Urgency::question ? DesktopNotice::Duration::untilWithdrawn
                                               : DesktopNotice::Duration::usual,
                  std::move(chosen));
}

void LinuxShell::withdrawNotification()
{
    m_notice.withdraw();
}

bool LinuxShell::blursBehind()
{
    ShellSession *const current = session();
    return current && current->blursBehind();
}

bool LinuxShell::isComposited()
{
    ShellSession *const current = session();
    return current && current->isComposited();
}

void LinuxShell::observeComposition(std::function<void()> changed)
{
    m_compositionChanged = std::move(changed);
}
