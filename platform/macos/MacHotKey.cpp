#include "platform/macos/MacHotKey.h"

#include "platform/PlatformError.h"

#include <utility>

#include <Carbon/Carbon.h>
#include <dispatch/dispatch.h>

using namespace Qt::StringLiterals;

namespace {
// Called by the event handler, which gets no user data.
std::function<void()> s_pressed;

constexpr UInt32 space = 49;
constexpr UInt32 option = 2048;
constexpr EventHotKeyID identity{0x5155494c, 1}; // "QUIL"

OSStatus handlePress(EventHandlerCallRef, EventRef, void *)
{
    // The key is not checked: there is only one.
    dispatch_async_f(dispatch_get_main_queue(), nullptr, [](void *) { s_pressed(); });
    return noErr;
}
} // namespace

void MacHotKey::registerKey(std::function<void()> pressed)
{
    s_pressed = std::move(pressed);
    // If either call fails, there is no hot key.
    const EventTypeSpec pressEvent{kEventClassKeyboard, kEventHotKeyPressed};
    InstallEventHandler(GetApplicationEventTarget(), &handlePress, 1, &pressEvent, nullptr,
                        nullptr);
    RegisterEventHotKey(space, option, identity, GetApplicationEventTarget(), 0, &m_ref);
}

QString MacHotKey::name() const
{
    return u"Option+Space"_s;
}

void MacHotKey::bindAlternative()
{
    throw PlatformError(u"macOS binds no keys to commands."_s);
}

bool MacHotKey::isReserved()
{
    EventHotKeyRef ref = nullptr;
    const OSStatus status = RegisterEventHotKey(
        space, option, identity, GetApplicationEventTarget(), kEventHotKeyExclusive, &ref);
    if (ref)
        UnregisterEventHotKey(ref);
    return status == eventHotKeyExistsErr;
}
