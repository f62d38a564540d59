#include "platform/Platform.h"

#include "platform/macos/MacAccessibility.h"
#include "platform/macos/MacAppearance.h"
#include "platform/macos/MacDiagnosis.h"
#include "platform/macos/MacHotKey.h"
#include "platform/macos/MacInstance.h"
#include "platform/macos/MacKeyboard.h"
#include "platform/macos/MacScreen.h"
#include "platform/macos/MacScripts.h"
#include "platform/macos/MacShell.h"
#include "platform/macos/MacWorkspace.h"

namespace {
class MacPlatform final : public Platform
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
    MacAccessibility m_accessibility;
    MacAppearance m_appearance;
    MacHotKey m_hotKey;
    MacInstance m_instance{[this] { return m_hotKey.isOurs(); }};
    MacKeyboard m_keyboard;
    MacScreen m_screen;
    MacScripts m_scripts;
    MacShell m_shell;
    MacWorkspace m_workspace{m_screen};
    MacDiagnosis m_diagnosis{m_accessibility, m_shell, &MacInstance::runningOwnsHotKey};
};
} // namespace

std::unique_ptr<Platform> Platform::makeNative()
{
    return std::make_unique<MacPlatform>();
}
