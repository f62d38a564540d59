#pragma once

// The parts of CoreGraphics that our code uses; see CoreFoundation.h.

#include <CoreFoundation/CoreFoundation.h>

// NOLINTBEGIN
using CGWindowListOption = uint32_t;
using CGWindowID = uint32_t;
using CGEventRef = struct __CGEvent *;
using CGEventSourceRef = struct __CGEventSource *;
using CGKeyCode = uint16_t;
using CGEventFlags = uint64_t;
using UniCharCount = unsigned long;

enum CGEventSourceStateID : int32_t { kCGEventSourceStateHIDSystemState = 1 };
enum CGEventTapLocation : uint32_t { kCGHIDEventTap = 0 };

constexpr CGWindowListOption kCGWindowListOptionOnScreenOnly = 1 << 0;
constexpr CGWindowListOption kCGWindowListExcludeDesktopElements = 1 << 4;
constexpr CGWindowID kCGNullWindowID = 0;

extern "C" {
extern const CFStringRef kCGWindowLayer;
extern const CFStringRef kCGWindowOwnerPID;
extern const CFStringRef kCGWindowOwnerName;
extern const CFStringRef kCGWindowName;
bool CGPreflightScreenCaptureAccess();
bool CGRequestScreenCaptureAccess();
CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode code, bool isDown);
void CGEventKeyboardSetUnicodeString(CGEventRef event, UniCharCount length, const UniChar *text);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);
CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window);
}
// NOLINTEND
