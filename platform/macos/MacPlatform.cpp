#include "platform/Platform.h"

#include "platform/macos/MacAccessibility.h"
#include "platform/macos/MacKeyboard.h"
#include "platform/macos/MacScreen.h"
#include "platform/macos/MacScripts.h"
#include "platform/macos/MacWorkspace.h"

namespace {
class MacPlatform final : public Platform
{
public:
    Accessibility &accessibility() override { return m_accessibility; }
    Workspace &workspace() override { return m_workspace; }
    Keyboard &keyboard() override { return m_keyboard; }
    Screen &screen() override { return m_screen; }
    Scripts &scripts() override { return m_scripts; }

private:
    MacAccessibility m_accessibility;
    MacKeyboard m_keyboard;
    MacScreen m_screen;
    MacScripts m_scripts;
    MacWorkspace m_workspace{m_screen};
};
} // namespace

std::unique_ptr<Platform> Platform::makeNative()
{
    return std::make_unique<MacPlatform>();
}
