#include "platform/macos/MacHotKey.h"

#include <utility>

#include <Carbon/Carbon.h>
#include <dispatch/dispatch.h>

namespace {
// What the event handler calls: the system hands it no data of ours.
std::function<void()> s_pressed;

constexpr UInt32 space = 49;
constexpr UInt32 option = 2048;
constexpr EventHotKeyID identity{0x5155494c, 1}; // "QUIL"

OSStatus handlePress(EventHandlerCallRef, EventRef, void *)
{
    // Whichever key it was: there is only one.
    dispatch_async_f(dispatch_get_main_queue(), nullptr, [](void *) { s_pressed(); });
    return noErr;
}
} // namespace

void MacHotKey::registerKey(std::function<void()> pressed)
{
    s_pressed = std::move(pressed);
    // Where either call fails, we run without the key.
    const EventTypeSpec pressEvent{kEventClassKeyboard, kEventHotKeyPressed};
    InstallEventHandler(GetApplicationEventTarget(), &handlePress, 1, &pressEvent, nullptr,
                        nullptr);
    RegisterEventHotKey(space, option, identity, GetApplicationEventTarget(), 0, &m_ref);
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
