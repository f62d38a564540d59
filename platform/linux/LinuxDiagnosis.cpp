#include "platform/linux/Capabilities.h"

#include "platform/Accessibility.h"
#include "platform/Diagnosis.h"
#include "platform/Shell.h"
#include "platform/Workspace.h"
#include "platform/linux/desktop/ChromiumProgram.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/desktop/DesktopKeys.h"
#include "platform/linux/desktop/LinuxInstance.h"
#include "platform/linux/x11/LinuxHotKey.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

#include <chrono>

using namespace Qt::StringLiterals;

using Verdict = Finding::Verdict;

namespace {
bool isWayland()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Whether the desktop portal is running or can be started. Blocks on the session bus for a few
// seconds at most.
bool hasPortal()
{
    constexpr std::chrono::milliseconds limit{2000};
    const QString portal = u"org.freedesktop.portal.Desktop"_s;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    bus.interface()->setTimeout(static_cast<int>(limit.count()));
    return bus.interface()->isServiceRegistered(portal) ||
           bus.interface()->activatableServiceNames().value().contains(portal);
}

QString displayName()
{
    return qEnvironmentVariable("DISPLAY");
}

// The diagnosis on Linux. The arguments must outlive it.
class LinuxDiagnosis final : public Diagnosis
{
public:
    LinuxDiagnosis(Accessibility &accessibility, Shell &shell, Workspace &workspace);

    Finding display() override;
    Finding accessibility() override;
    Finding hotKey() override;
    Finding screenCapture() override;
    Finding fileManager() override;

private:
    Accessibility &m_accessibility;
    Shell &m_shell;
    Workspace &m_workspace;
};
} // namespace

LinuxDiagnosis::LinuxDiagnosis(Accessibility &accessibility, Shell &shell, Workspace &workspace)
    : m_accessibility(accessibility), m_shell(shell), m_workspace(workspace)
{
}

Finding LinuxDiagnosis::display()
{
    // Without DISPLAY, the toolkit uses another window system, and windows of other applications
    // are not visible.
    const bool hasX11 = !displayName().isEmpty() && m_shell.hasDisplay();
    if (hasX11 && isWayland()) {
        return {Verdict::limited, u"X11 (%1) on a Wayland desktop"_s.arg(displayName()),
                u"Only windows of X11 applications are seen, clicked and typed into: "
                "log in to a session on X11 (\"Xorg\") for all of them."_s};
    }
    if (hasX11)
        return {Verdict::good, u"X11 (%1)"_s.arg(displayName())};
    if (isWayland()) {
        return {Verdict::bad, u"Wayland without X11"_s,
                u"Install Xwayland, or log in to a session on X11 (\"Xorg\")."_s};
    }
    if (displayName().isEmpty()) {
        return {Verdict::bad, u"none"_s,
                u"Start Quillon inside a desktop session: DISPLAY is not set."_s};
    }
    return {Verdict::bad, u"%1 does not answer"_s.arg(displayName()),
            u"Is that display running, and may this user use it?"_s};
}

Finding LinuxDiagnosis::accessibility()
{
    if (m_accessibility.isTrusted()) {
        for (const Application &each : m_workspace.runningApplications()) {
            if (ChromiumProgram::isClosed(each.pid)) {
                return {Verdict::limited,
                        each.name.value_or(u"an application"_s) + u" runs without "_s +
                            ChromiumProgram::openingOption(),
                        u"Its controls are not seen: quit it and let Quillon open it, or "
                        "start it with that option."_s};
            }
        }
        return {Verdict::good, u"the accessibility bus answers and is enabled"_s};
    }
    return {Verdict::bad, u"the accessibility bus does not answer or is not enabled"_s,
            u"Click \"Grant Accessibility access\" in the panel. If that does not help, "
            "install at-spi2-core and log in again."_s};
}

Finding LinuxDiagnosis::hotKey()
{
    if (isWayland()) {
        return {
            Verdict::limited, u"Alt+Space works while an X11 application is in front"_s,
            u"Bind a key to \"%1\" in the desktop's settings."_s.arg(DesktopKeys::toggleCommand())};
    }
    LinuxHotKey key;
    key.registerKey([] {});
    if (key.isOurs())
        return {Verdict::good, u"Alt+Space is free"_s};
    if (LinuxInstance::runningOwnsHotKey())
        return {Verdict::good, u"Alt+Space shows and hides the running Quillon"_s};
    if (DesktopKeys::isBound()) {
        return {Verdict::good, u"Alt+Space belongs to another program; %1 is bound instead"_s.arg(
                                   DesktopKeys::name())};
    }
    return {Verdict::limited, u"Alt+Space belongs to another program"_s,
            u"Take it away there (most often it is the window manager's menu), or "
            "bind another key to \"%1\" in the desktop's settings."_s.arg(
                DesktopKeys::toggleCommand())};
}

Finding LinuxDiagnosis::screenCapture()
{
    if (!isWayland())
        return {Verdict::good, u"the X server shows the screen"_s};
    if (hasPortal())
        return {Verdict::good, u"the desktop's portal takes pictures, and asks you"_s};
    return {Verdict::limited, u"no portal takes pictures of this Wayland desktop"_s,
            u"Install xdg-desktop-portal and its part for your desktop."_s};
}

Finding LinuxDiagnosis::fileManager()
{
    if (const QStringList managers = DesktopEntries::counterparts(u"finder"_s); !managers.isEmpty())
        return {Verdict::good, m_workspace.displayName(managers.constFirst())};
    return {Verdict::limited, u"none"_s, u"Folders cannot be shown: install a file manager."_s};
}

std::unique_ptr<Diagnosis> makeLinuxDiagnosis(Accessibility &accessibility, Shell &shell,
                                              Workspace &workspace)
{
    return std::make_unique<LinuxDiagnosis>(accessibility, shell, workspace);
}
