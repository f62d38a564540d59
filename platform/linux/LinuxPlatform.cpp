#include "platform/Platform.h"

#include "platform/Accessibility.h"
#include "platform/Appearance.h"
#include "platform/CoreApplication.h"
#include "platform/Diagnosis.h"
#include "platform/Keyboard.h"
#include "platform/Screen.h"
#include "platform/Scripts.h"
#include "platform/Shell.h"
#include "platform/Workspace.h"
#include "platform/linux/Capabilities.h"
#include "platform/linux/desktop/LinuxInstance.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QCoreApplication>

#include <gio/gio.h>

using namespace Qt::StringLiterals;

namespace {
// By default, GIO exits the program silently if the session bus disconnects. GIO has one shared
// connection for its settings and its trash; this gets it first, as soon as events are processed,
// and turns that off.
void outliveTheBus()
{
    if (!qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"))
        return; // do not start a bus for this
    const auto received = [](GObject *, GAsyncResult *result, gpointer) {
        // Kept, because otherwise GIO would create another one.
        static GDBusConnection *connection = nullptr;
        connection = g_bus_get_finish(result, nullptr);
        if (connection)
            g_dbus_connection_set_exit_on_close(connection, FALSE);
    };
    g_bus_get(G_BUS_TYPE_SESSION, nullptr, received, nullptr);
}

// This system has no AppleScript: every script fails with a message.
class LinuxScripts final : public Scripts
{
public:
    ScriptOutcome run(const QString &) override
    {
        return ScriptError{u"AppleScript is only available on macOS."_s};
    }
};

class LinuxPlatform final : public Platform
{
public:
    LinuxPlatform() { outliveTheBus(); }

    Accessibility &accessibility() override { return *m_accessibility; }
    Appearance &appearance() override { return *m_appearance; }
    Diagnosis &diagnosis() override { return *m_diagnosis; }
    GlobalHotKey &hotKey() override { return m_hotKey; }
    Instance &instance() override { return m_instance; }
    Shell &shell() override { return *m_shell; }
    Workspace &workspace() override { return *m_workspace; }
    Keyboard &keyboard() override { return *m_keyboard; }
    Screen &screen() override { return *m_screen; }
    Scripts &scripts() override { return m_scripts; }

private:
    const std::unique_ptr<Appearance> m_appearance = makeLinuxAppearance();
    LinuxHotKey m_hotKey;
    LinuxInstance m_instance{[this] { return m_hotKey.isOurs(); }};
    const std::unique_ptr<Shell> m_shell = makeLinuxShell(m_hotKey);
    X11Desktop m_desktop;
    const std::unique_ptr<Accessibility> m_accessibility = makeLinuxAccessibility();
    const std::unique_ptr<Keyboard> m_keyboard = makeLinuxKeyboard();
    const std::unique_ptr<Workspace> m_workspace = makeLinuxWorkspace(m_desktop);
    const std::unique_ptr<Screen> m_screen = makeLinuxScreen(m_desktop);
    LinuxScripts m_scripts;
    const std::unique_ptr<Diagnosis> m_diagnosis =
        makeLinuxDiagnosis(*m_accessibility, *m_shell, *m_workspace);
};
} // namespace

std::unique_ptr<Platform> Platform::makeNative()
{
    return std::make_unique<LinuxPlatform>();
}

QCoreApplication *makeCoreApplication(int &argc, char **argv)
{
    return new QCoreApplication(argc, argv);
}
