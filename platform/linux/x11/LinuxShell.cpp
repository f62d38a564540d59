#include "platform/linux/x11/LinuxShell.h"

#include "base/BoundedWorker.h"
#include "platform/NativeWindow.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/ShellSession.h"

#include <algorithm>
#include <utility>

#include <xcb/xcb.h>

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
        current->watch(windowId(window));
    window.show();
    if (current)
        current->bringForward(windowId(window), m_userTime, !wasShown);
}

void LinuxShell::center(NativeWindow &window)
{
    QRect place(QPoint(), window.size());
    place.moveCenter(window.screenArea().center());
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

bool LinuxShell::isComposited()
{
    ShellSession *const current = session();
    return current && current->isComposited();
}

void LinuxShell::observeComposition(std::function<void()> changed)
{
    m_compositionChanged = std::move(changed);
}
