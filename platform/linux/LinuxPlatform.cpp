#include "platform/Platform.h"

#include "platform/linux/LinuxAccessibility.h"
#include "platform/linux/LinuxKeyboard.h"
#include "platform/linux/LinuxScreen.h"
#include "platform/linux/LinuxScripts.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/X11Desktop.h"

namespace {
class LinuxPlatform final : public Platform
{
public:
    Accessibility &accessibility() override { return m_accessibility; }
    Workspace &workspace() override { return m_workspace; }
    Keyboard &keyboard() override { return m_keyboard; }
    Screen &screen() override { return m_screen; }
    Scripts &scripts() override { return m_scripts; }

private:
    X11Desktop m_desktop;
    LinuxAccessibility m_accessibility;
    LinuxKeyboard m_keyboard;
    LinuxWorkspace m_workspace{m_desktop};
    LinuxScreen m_screen{m_desktop};
    LinuxScripts m_scripts;
};
} // namespace

std::unique_ptr<Platform> Platform::makeNative()
{
    return std::make_unique<LinuxPlatform>();
}
