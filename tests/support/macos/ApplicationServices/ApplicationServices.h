#pragma once

// The little of ApplicationServices that our code calls; see CoreFoundation.h beside this.

#include <CoreFoundation/CoreFoundation.h>

// NOLINTBEGIN
extern "C" {
extern CFStringRef kAXTrustedCheckOptionPrompt;
Boolean AXIsProcessTrusted();
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options);
}
// NOLINTEND
