#pragma once

// The parts of ApplicationServices that our code uses; see CoreFoundation.h.

#include <CoreFoundation/CoreFoundation.h>

#include <sys/types.h>

// NOLINTBEGIN
using AXUIElementRef = const struct __AXUIElement *;
using AXError = int32_t;
using AXCopyMultipleAttributeOptions = uint32_t;

constexpr AXError kAXErrorSuccess = 0;
constexpr AXError kAXErrorFailure = -25200;
constexpr AXError kAXErrorInvalidUIElement = -25202;
constexpr AXError kAXErrorCannotComplete = -25204;
constexpr AXError kAXErrorAttributeUnsupported = -25205;
constexpr AXError kAXErrorActionUnsupported = -25206;

#define kAXRoleAttribute CFSTR("AXRole")
#define kAXSubroleAttribute CFSTR("AXSubrole")
#define kAXChildrenAttribute CFSTR("AXChildren")
#define kAXTitleAttribute CFSTR("AXTitle")
#define kAXDescriptionAttribute CFSTR("AXDescription")
#define kAXValueAttribute CFSTR("AXValue")
#define kAXFocusedApplicationAttribute CFSTR("AXFocusedApplication")
#define kAXHelpAttribute CFSTR("AXHelp")
#define kAXSecureTextFieldSubrole CFSTR("AXSecureTextField")
#define kAXPressAction CFSTR("AXPress")

extern "C" {
extern CFStringRef kAXTrustedCheckOptionPrompt;
Boolean AXIsProcessTrusted();
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options);
CFTypeID AXUIElementGetTypeID();
AXUIElementRef AXUIElementCreateSystemWide();
AXUIElementRef AXUIElementCreateApplication(pid_t process);
AXError AXUIElementGetPid(AXUIElementRef element, pid_t *process);
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef *value);
AXError AXUIElementCopyMultipleAttributeValues(AXUIElementRef element, CFArrayRef attributes,
                                               AXCopyMultipleAttributeOptions options,
                                               CFArrayRef *values);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                     CFTypeRef value);
AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action);
}
// NOLINTEND
