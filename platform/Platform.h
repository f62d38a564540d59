#pragma once

#include <memory>

class Accessibility;
class Appearance;
class Diagnosis;
class GlobalHotKey;
class Instance;
class Keyboard;
class Screen;
class Scripts;
class Shell;
class Workspace;

/// The operating system's capabilities as the executor and the safety assessment reach them.
/// Everything that can be decided is decided above this seam; below it stands only what one system
/// does differently. Main thread only.
class Platform
{
public:
    virtual ~Platform() = default;

    virtual Accessibility &accessibility() = 0;
    virtual Appearance &appearance() = 0;
    virtual Diagnosis &diagnosis() = 0;
    virtual GlobalHotKey &hotKey() = 0;
    virtual Instance &instance() = 0;
    virtual Shell &shell() = 0;
    virtual Workspace &workspace() = 0;
    virtual Keyboard &keyboard() = 0;
    virtual Screen &screen() = 0;
    virtual Scripts &scripts() = 0;

    /// The platform in use: this system's own, made at the first call and gone with the
    /// application, unless an Override stands.
    static Platform &current();

    /// Puts another platform in place for as long as it lives. For tests; not nested.
    class Override
    {
    public:
        explicit Override(Platform &replacement);
        ~Override();
        Override(const Override &) = delete;
        Override &operator=(const Override &) = delete;
    };

private:
    /// This system's own; linux/ and macos/ each define it.
    static std::unique_ptr<Platform> makeNative();
};
