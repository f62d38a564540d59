#include "FakeCarbon.h"

#include <dispatch/dispatch.h>

#include <cstdlib>
#include <utility>

struct OpaqueEventTargetRef
{
};
struct dispatch_queue_s
{
};
struct OpaqueEventHotKeyRef
{
};

namespace {
OpaqueEventTargetRef s_applicationTarget;
OpaqueEventHotKeyRef s_hotKey;
dispatch_queue_s s_mainQueue;
QList<std::function<void()>> s_work;
} // namespace

OSStatus FakeCarbon::result = noErr;
QList<FakeCarbon::Handler> FakeCarbon::handlers;
QList<FakeCarbon::HotKey> FakeCarbon::hotKeys;

void FakeCarbon::reset()
{
    result = noErr;
    handlers.clear();
    hotKeys.clear();
    s_work.clear();
}

OSStatus FakeCarbon::press()
{
    return handlers.first().function(nullptr, nullptr, handlers.first().userData);
}

int FakeCarbon::runMainQueue()
{
    const QList<std::function<void()>> work = std::exchange(s_work, {});
    for (const std::function<void()> &each : work)
        each();
    return static_cast<int>(work.size());
}

// NOLINTBEGIN
extern "C" {
EventTargetRef GetApplicationEventTarget()
{
    return &s_applicationTarget;
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount types,
                             const EventTypeSpec *list, void *userData, EventHandlerRef *reference)
{
    if (target != &s_applicationTarget)
        std::abort();
    FakeCarbon::Handler installed{{}, handler, userData, reference != nullptr};
    for (ItemCount i = 0; i < types; ++i)
        installed.types.append({list[i].eventClass, list[i].eventKind});
    FakeCarbon::handlers.append(installed);
    return FakeCarbon::result;
}

OSStatus RegisterEventHotKey(UInt32 keyCode, UInt32 modifiers, EventHotKeyID identity,
                             EventTargetRef target, OptionBits options, EventHotKeyRef *reference)
{
    if (target != &s_applicationTarget)
        std::abort();
    FakeCarbon::hotKeys.append({keyCode, modifiers, identity.signature, identity.id, options});
    *reference = FakeCarbon::result == noErr ? &s_hotKey : nullptr;
    return FakeCarbon::result;
}

OSStatus UnregisterEventHotKey(EventHotKeyRef reference)
{
    if (reference != &s_hotKey || FakeCarbon::hotKeys.isEmpty())
        std::abort();
    FakeCarbon::hotKeys.removeLast();
    return noErr;
}

dispatch_queue_t dispatch_get_main_queue()
{
    return &s_mainQueue;
}

void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work)
{
    if (queue != &s_mainQueue)
        std::abort();
    s_work.append([context, work] { work(context); });
}
}
// NOLINTEND
