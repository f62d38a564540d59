#include "platform/linux/Capabilities.h"

#include "base/WorkQueue.h"
#include "platform/FittingSize.h"
#include "platform/NativeWindow.h"
#include "platform/Shell.h"
#include "platform/linux/desktop/StatusItem.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/ShellSession.h"
#include "platform/linux/x11/Xcb.h"

#include <QByteArrayView>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QVariantMap>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
// How long the server may take to accept a first connection.
constexpr std::chrono::milliseconds serverLimit{5000};

// The radius of the panel's corners, as Theme.qml draws them.
constexpr double cornerRadius = 14;

// The sizes of icons that task bars, lists of windows and panels show, at scales up to 2.
constexpr std::array windowIconSides{16, 24, 32, 48, 64, 128};
constexpr std::array statusIconSides{16, 22, 24, 32, 48};

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

// The font resolution that corresponds to a scale factor of 1.
constexpr int usualResolution = 96;

// The font resolution from the X resources; 0 if there is none.
double desktopResolution()
{
    const XcbDisplay display = Xcb::open();
    if (!display.connection)
        return 0;
    xcb_connection_t *const connection = display.connection.get();
    // The resources are a property of the first screen's root window.
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    constexpr uint32_t longest = 16 * 1024; // in units of four bytes
    const auto resources =
        Xcb::property(connection, root, XCB_ATOM_RESOURCE_MANAGER, longest, XCB_ATOM_STRING);
    const std::span<const uint8_t> text = Xcb::bytes(resources.get());
    const QByteArrayView lines(text.data(), static_cast<qsizetype>(text.size()));
    for (const QByteArray &line : lines.toByteArray().split('\n')) {
        if (line.startsWith("Xft.dpi:"))
            return line.mid(line.indexOf(':') + 1).trimmed().toDouble();
    }
    return 0;
}

// Whether the user has not chosen another platform plugin of Qt.
bool choosesX11()
{
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    return chosen.isEmpty() || chosen.startsWith("xcb");
}

// The application on an X desktop, which activates its windows and returns the focus by EWMH. The
// hot key must outlive it.
class LinuxShell final : public Shell, private Notifier, private Compositor
{
public:
    explicit LinuxShell(const LinuxHotKey &hotKey);
    ~LinuxShell() override;

    Notifier *notifier() override { return this; }
    Compositor *compositor() override { return this; }

    bool hasDisplay() override;
    ToolkitSettings toolkitSettings() override;

    bool isActive() override;
    void activate() override;
    void hide() override;
    void announce(const QString &text, quint32 element) override;

    Qt::WindowFlags windowFlags() const override { return Qt::Window | Qt::FramelessWindowHint; }
    bool isVisible(NativeWindow &window) override;
    bool isKey(NativeWindow &window) override;
    void makeKeyAndOrderFront(NativeWindow &window) override;
    void center(NativeWindow &window) override;
    void style(NativeWindow &window) override;
    void placeMaterialBehind(NativeWindow &window, Material material) override;
    void keepAbove(NativeWindow &window, bool isAbove) override;
    void requestAttention(NativeWindow &window, Urgency urgency) override;

private:
    void notify(const QString &text, Urgency urgency, std::function<void()> chosen) override;
    void withdraw() override;
    void showStatusItem(std::function<void()> chosen) override;

    bool isComposited() override;
    bool blursBehind() override;
    bool wantsDrawnShadow() override;
    void applyMargin(NativeWindow &window) override;
    void observe(std::function<void()> changed) override;

    /// The session with the X server, if there is one.
    ShellSession *session();
    /// The part of the user's current screen without bars, in the toolkit's units.
    QRect freeArea(NativeWindow &window);

    const LinuxHotKey &m_hotKey;
    quint32 m_usedPress = 0; ///< The time of the hot key's press that was handled.
    quint32 m_userTime = 0;  ///< The time of the user's action; 0 if unknown.
    std::optional<std::unique_ptr<ShellSession>> m_session; ///< Set after the first attempt.
    std::function<void()> m_compositionChanged;
    DesktopNotice m_notice;
    std::optional<StatusItem> m_statusItem;
};
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

ToolkitSettings LinuxShell::toolkitSettings()
{
    ToolkitSettings settings{.paintsInSoftware = true};
    // Also on Wayland, where only X11 windows can be activated by their program.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        settings.arguments = {"-platform", "xcb"};
    // Desktops that measure the screen set resolutions such as 99 or 101. At such scale factors,
    // hairlines are blurred and corners are uneven, so the factor is rounded to quarters.
    const double told = desktopResolution();
    const double quarters = std::round(4 * told / usualResolution);
    if (quarters > 0)
        settings.fontResolution = static_cast<int>(quarters * usualResolution / 4);
    return settings;
}

bool LinuxShell::isActive()
{
    return window() && isKey(*window());
}

void LinuxShell::activate()
{
    if (ShellSession *const current = session()) {
        const xcb_window_t active = current->activeWindow().value_or(XCB_WINDOW_NONE);
        if (!window() || windowId(*window()) != active)
            current->rememberFocus(active);
    }
    const quint32 press = m_hotKey.lastPress();
    m_userTime = std::exchange(m_usedPress, press) != press ? press : XCB_CURRENT_TIME;
    if (window() && isVisible(*window()))
        makeKeyAndOrderFront(*window());
}

void LinuxShell::hide()
{
    m_usedPress = m_hotKey.lastPress();
    if (!window())
        return;
    ShellSession *const current = session();
    if (current && isKey(*window()))
        current->giveBackAfter(windowId(*window()));
    window()->hide();
}

void LinuxShell::announce(const QString &, quint32 element)
{
    // The toolkit's connection, since screen readers ask the sender for the element. They speak a
    // notification that appears; only later ones know the signal for announcements.
    const QDBusConnection bus(u"a11y"_s);
    if (!bus.isConnected())
        return;
    QDBusMessage signal =
        QDBusMessage::createSignal(u"/org/a11y/atspi/accessible/%1"_s.arg(element),
                                   u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s);
    signal << u"showing"_s << 1 << 0 << QVariant::fromValue(QDBusVariant(0)) << QVariantMap();
    bus.send(signal);
}

bool LinuxShell::isVisible(NativeWindow &window)
{
    return window.isShown();
}

bool LinuxShell::isKey(NativeWindow &window)
{
    // During the hot key's grab, Qt reports that the focus is lost; the window manager does not.
    ShellSession *const current = session();
    const std::optional<xcb_window_t> active =
        current ? current->activeWindow() : std::optional<xcb_window_t>();
    return active ? *active == windowId(window) : window.hasFocus();
}

void LinuxShell::makeKeyAndOrderFront(NativeWindow &window)
{
    const bool wasShown = window.isShown();
    // Centred before it is shown, so that it does not jump.
    if (!wasShown)
        center(window);
    ShellSession *const current = session();
    if (current)
        current->prepare(windowId(window));
    window.show();
    if (current)
        current->bringForward(windowId(window), m_userTime, !wasShown);
}

QRect LinuxShell::freeArea(NativeWindow &window)
{
    const QRect available = window.screenArea();
    ShellSession *const current = session();
    if (!current)
        return available;
    // The toolkit knows the work area only of a single screen, and not all window managers announce
    // it. Only the corner of a screen is in pixels.
    const QRect screen = window.screen();
    const double scale = window.scale();
    const QRect pixels(screen.topLeft(), screen.size() * scale);
    const QRect free = current->withoutBars(pixels);
    const QPoint start = free.topLeft() - pixels.topLeft();
    const QPoint end = start + QPoint(free.width(), free.height());
    const QPoint first(static_cast<int>(std::ceil(start.x() / scale)),
                       static_cast<int>(std::ceil(start.y() / scale)));
    const QPoint last(static_cast<int>(std::floor(end.x() / scale)),
                      static_cast<int>(std::floor(end.y() / scale)));
    return available.intersected(
        QRect(screen.topLeft() + first, QSize(last.x() - first.x(), last.y() - first.y())));
}

void LinuxShell::center(NativeWindow &window)
{
    const QRect area = freeArea(window);
    const QSize fitting = fittingSize(window, area.size());
    if (fitting != window.size())
        window.resize(fitting);
    QRect place(QPoint(), fitting);
    place.moveCenter(area.center());
    // If the window is larger than the screen, its top left corner remains visible.
    place.moveTopLeft({std::max(place.left(), area.left()), std::max(place.top(), area.top())});
    window.moveTo(place.topLeft());
    if (ShellSession *const current = session()) {
        // Only the corner of a screen is in pixels.
        const QPoint screen = window.screen().topLeft();
        const QPoint margin(window.margin(), window.margin());
        current->expectAt(windowId(window),
                          screen + (place.topLeft() - margin - screen) * window.scale());
    }
}

void LinuxShell::style(NativeWindow &window)
{
    // The window flags make it a panel.
    ShellSession *const current = session();
    if (!current || !drawIcon())
        return;
    std::vector<uint32_t> icon;
    for (const int side : windowIconSides) {
        const Picture picture = drawIcon()(side);
        icon.insert(icon.end(), 2, static_cast<uint32_t>(side));
        icon.insert(icon.end(), picture.pixels.begin(), picture.pixels.end());
    }
    current->setIcon(windowId(window), icon);
}

void LinuxShell::placeMaterialBehind(NativeWindow &window, Material)
{
    if (ShellSession *const current = session())
        current->blurBehind(windowId(window), cornerRadius * window.scale());
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

void LinuxShell::showStatusItem(std::function<void()> chosen)
{
    QList<Picture> icon;
    if (drawIcon())
        std::ranges::transform(statusIconSides, std::back_inserter(icon), drawIcon());
    m_statusItem.emplace(icon, std::move(chosen));
}

void LinuxShell::withdraw()
{
    m_notice.withdraw();
}

bool LinuxShell::blursBehind()
{
    ShellSession *const current = session();
    return current && current->blursBehind();
}

bool LinuxShell::wantsDrawnShadow()
{
    ShellSession *const current = session();
    return current && current->isComposited() && current->knowsFrameMargins();
}

void LinuxShell::applyMargin(NativeWindow &window)
{
    if (ShellSession *const current = session())
        current->setMargin(windowId(window), qRound(window.margin() * window.scale()));
}

bool LinuxShell::isComposited()
{
    ShellSession *const current = session();
    return current && current->isComposited();
}

void LinuxShell::observe(std::function<void()> changed)
{
    m_compositionChanged = std::move(changed);
}

std::unique_ptr<Shell> makeLinuxShell(const LinuxHotKey &hotKey)
{
    return std::make_unique<LinuxShell>(hotKey);
}
