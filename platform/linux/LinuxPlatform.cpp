#include "platform/Platform.h"

#include "platform/CoreApplication.h"
#include "platform/Scripts.h"
#include "platform/linux/LinuxDiagnosis.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/atspi/LinuxAccessibility.h"
#include "platform/linux/desktop/LinuxAppearance.h"
#include "platform/linux/desktop/LinuxInstance.h"
#include "platform/linux/keyboard/LinuxKeyboard.h"
#include "platform/linux/screenshot/LinuxScreen.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/LinuxShell.h"
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

    Accessibility &accessibility() override { return m_accessibility; }
    Appearance &appearance() override { return m_appearance; }
    Diagnosis &diagnosis() override { return m_diagnosis; }
    GlobalHotKey &hotKey() override { return m_hotKey; }
    Instance &instance() override { return m_instance; }
    Shell &shell() override { return m_shell; }
    Workspace &workspace() override { return m_workspace; }
    Keyboard &keyboard() override { return m_keyboard; }
    Screen &screen() override { return m_screen; }
    Scripts &scripts() override { return m_scripts; }

private:
    LinuxAppearance m_appearance;
    LinuxHotKey m_hotKey;
    LinuxInstance m_instance{[this] { return m_hotKey.isOurs(); }};
    LinuxShell m_shell{m_hotKey};
    X11Desktop m_desktop;
    LinuxAccessibility m_accessibility;
    LinuxKeyboard m_keyboard;
    LinuxWorkspace m_workspace{m_desktop};
    LinuxScreen m_screen{m_desktop};
    LinuxScripts m_scripts;
    LinuxDiagnosis m_diagnosis{m_accessibility, m_shell, m_workspace};
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
