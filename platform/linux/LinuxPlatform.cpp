#include "platform/Platform.h"

#include "platform/linux/LinuxAccessibility.h"
#include "platform/linux/LinuxAppearance.h"
#include "platform/linux/LinuxDiagnosis.h"
#include "platform/linux/LinuxHotKey.h"
#include "platform/linux/LinuxInstance.h"
#include "platform/linux/LinuxKeyboard.h"
#include "platform/linux/LinuxScreen.h"
#include "platform/linux/LinuxScripts.h"
#include "platform/linux/LinuxShell.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/X11Desktop.h"

namespace {
class LinuxPlatform final : public Platform
{
public:
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
    LinuxInstance m_instance;
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
