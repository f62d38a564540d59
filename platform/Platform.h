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

/// The operating system's capabilities, for the executor and the safety assessment. Decisions are
/// made above this interface; its implementations contain only what differs between systems. Main
/// thread only.
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

    /// The platform in use: the Override if there is one, or else this system's own, which is
    /// created by the first call and destroyed with the application.
    static Platform &current();

    /// Replaces the platform while it exists. For tests; not nested.
    class Override
    {
    public:
        explicit Override(Platform &replacement);
        ~Override();
        Override(const Override &) = delete;
        Override &operator=(const Override &) = delete;
    };

private:
    /// Defined in linux/ and in macos/.
    static std::unique_ptr<Platform> makeNative();
};
