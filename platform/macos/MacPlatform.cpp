#include "platform/Platform.h"

#include "platform/macos/MacAccessibility.h"
#include "platform/macos/MacScreen.h"
#include "platform/macos/MacWorkspace.h"

namespace {
class MacPlatform final : public Platform
{
public:
    Accessibility &accessibility() override { return m_accessibility; }
    Workspace &workspace() override { return m_workspace; }
    Screen &screen() override { return m_screen; }

private:
    MacAccessibility m_accessibility;
    MacWorkspace m_workspace;
    MacScreen m_screen;
};
} // namespace

std::unique_ptr<Platform> Platform::makeNative()
{
    return std::make_unique<MacPlatform>();
}
