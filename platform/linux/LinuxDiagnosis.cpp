#include "platform/linux/LinuxDiagnosis.h"

#include "platform/Accessibility.h"
#include "platform/Shell.h"
#include "platform/Workspace.h"
#include "platform/linux/LinuxHotKey.h"
#include "platform/linux/LinuxInstance.h"
#include "platform/linux/ScreenPortal.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

#include <optional>

using Verdict = Finding::Verdict;

namespace {
bool isWayland()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

QString displayName()
{
    return qEnvironmentVariable("DISPLAY");
}

// As it works in the desktop's settings: a program that is not installed is on nobody's path.
QString toggleCommand()
{
    const QString program = QCoreApplication::applicationFilePath();
    const QString name = QStringLiteral("quillon");
    const QFileInfo installed(QStandardPaths::findExecutable(name));
    return (installed.canonicalFilePath() == program ? name : program) +
           QStringLiteral(" --toggle");
}
} // namespace

LinuxDiagnosis::LinuxDiagnosis(Accessibility &accessibility, Shell &shell, Workspace &workspace)
    : m_accessibility(accessibility), m_shell(shell), m_workspace(workspace)
{
}

Finding LinuxDiagnosis::display()
{
    // Without its name, the toolkit shows its windows elsewhere, and nobody sees the others'
    // windows.
    const bool hasX11 = !displayName().isEmpty() && m_shell.hasDisplay();
    if (hasX11 && isWayland()) {
        return {Verdict::limited,
                QStringLiteral("X11 (%1) on a Wayland desktop").arg(displayName()),
                QStringLiteral("Only windows of X11 applications are seen, clicked and typed into: "
                               "log in to a session on X11 (\"Xorg\") for all of them.")};
    }
    if (hasX11)
        return {Verdict::good, QStringLiteral("X11 (%1)").arg(displayName())};
    if (isWayland()) {
        return {Verdict::bad, QStringLiteral("Wayland without X11"),
                QStringLiteral("Install Xwayland, or log in to a session on X11 (\"Xorg\").")};
    }
    if (displayName().isEmpty()) {
        return {Verdict::bad, QStringLiteral("none"),
                QStringLiteral("Start Quillon inside a desktop session: DISPLAY is not set.")};
    }
    return {Verdict::bad, QStringLiteral("%1 does not answer").arg(displayName()),
            QStringLiteral("Is that display running, and may this user use it?")};
}

Finding LinuxDiagnosis::accessibility()
{
    if (m_accessibility.isTrusted())
        return {Verdict::good, QStringLiteral("the accessibility bus answers and is enabled")};
    return {
        Verdict::bad, QStringLiteral("the accessibility bus does not answer or is not enabled"),
        QStringLiteral("Click \"Grant Accessibility access\" in the panel. If that does not help, "
                       "install at-spi2-core and log in again.")};
}

Finding LinuxDiagnosis::hotKey()
{
    if (isWayland()) {
        return {
            Verdict::limited,
            QStringLiteral("Alt+Space is heard while an X11 application is in front"),
            QStringLiteral("Bind a key to \"%1\" in the desktop's settings.").arg(toggleCommand())};
    }
    LinuxHotKey key;
    key.registerKey([] {});
    if (key.isOurs())
        return {Verdict::good, QStringLiteral("Alt+Space is free")};
    if (LinuxInstance::isRunning())
        return {Verdict::good, QStringLiteral("Alt+Space is taken, and Quillon is running")};
    return {Verdict::limited, QStringLiteral("Alt+Space belongs to another program"),
            QStringLiteral("Take it away there (most often it is the window manager's menu), or "
                           "bind another key to \"%1\" in the desktop's settings.")
                .arg(toggleCommand())};
}

Finding LinuxDiagnosis::screenCapture()
{
    if (!isWayland())
        return {Verdict::good, QStringLiteral("the X server shows the screen")};
    if (ScreenPortal::isOffered())
        return {Verdict::good, QStringLiteral("the desktop's portal takes pictures, and asks you")};
    return {Verdict::limited, QStringLiteral("no portal takes pictures of this Wayland desktop"),
            QStringLiteral("Install xdg-desktop-portal and its part for your desktop.")};
}

Finding LinuxDiagnosis::fileManager()
{
    if (const std::optional<QString> location = m_workspace.counterpart(QStringLiteral("finder")))
        return {Verdict::good, m_workspace.displayName(*location)};
    return {Verdict::limited, QStringLiteral("none"),
            QStringLiteral("Folders cannot be shown: install a file manager.")};
}
