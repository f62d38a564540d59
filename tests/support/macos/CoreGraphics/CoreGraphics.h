#pragma once

// The little of CoreGraphics that our code calls; see CoreFoundation.h beside this.

#include <CoreFoundation/CoreFoundation.h>

// NOLINTBEGIN
using CGWindowListOption = uint32_t;
using CGWindowID = uint32_t;

constexpr CGWindowListOption kCGWindowListOptionOnScreenOnly = 1 << 0;
constexpr CGWindowListOption kCGWindowListExcludeDesktopElements = 1 << 4;
constexpr CGWindowID kCGNullWindowID = 0;

extern "C" {
extern const CFStringRef kCGWindowLayer;
extern const CFStringRef kCGWindowOwnerPID;
extern const CFStringRef kCGWindowOwnerName;
extern const CFStringRef kCGWindowName;
CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window);
}
// NOLINTEND
