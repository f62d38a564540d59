#pragma once

// The parts of Carbon that our code uses; see FakeCarbon.h.

#include <cstdint>

// NOLINTBEGIN
using OSStatus = int32_t;
using OSType = uint32_t;
using UInt32 = uint32_t;
using OptionBits = uint32_t;
using ItemCount = unsigned long;

struct OpaqueEventHandlerCallRef;
struct OpaqueEventHandlerRef;
struct OpaqueEventHotKeyRef;
struct OpaqueEventRef;
struct OpaqueEventTargetRef;
using EventHandlerCallRef = OpaqueEventHandlerCallRef *;
using EventHandlerRef = OpaqueEventHandlerRef *;
using EventHotKeyRef = OpaqueEventHotKeyRef *;
using EventRef = OpaqueEventRef *;
using EventTargetRef = OpaqueEventTargetRef *;
using EventHandlerUPP = OSStatus (*)(EventHandlerCallRef, EventRef, void *);

struct EventTypeSpec
{
    OSType eventClass;
    UInt32 eventKind;
};
struct EventHotKeyID
{
    OSType signature;
    UInt32 id;
};

constexpr OSStatus noErr = 0;
constexpr OSStatus eventHotKeyExistsErr = -9878;
constexpr OptionBits kEventHotKeyExclusive = 1;
constexpr OSType kEventClassKeyboard = 0x6b657962; // "keyb"
constexpr UInt32 kEventHotKeyPressed = 5;

extern "C" {
EventTargetRef GetApplicationEventTarget();
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount types,
                             const EventTypeSpec *list, void *userData, EventHandlerRef *reference);
OSStatus RegisterEventHotKey(UInt32 keyCode, UInt32 modifiers, EventHotKeyID identity,
                             EventTargetRef target, OptionBits options, EventHotKeyRef *reference);
OSStatus UnregisterEventHotKey(EventHotKeyRef reference);
}
// NOLINTEND
