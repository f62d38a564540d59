#include "platform/macos/MacAccessibility.h"

#include "platform/macos/CFOwner.h"

#include <ApplicationServices/ApplicationServices.h>

bool MacAccessibility::isTrusted()
{
    return AXIsProcessTrusted() != 0;
}

void MacAccessibility::requestTrust()
{
    const void *key = kAXTrustedCheckOptionPrompt;
    const void *value = kCFBooleanTrue;
    const CFOwner<CFDictionaryRef> options(CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1,
                                                              &kCFTypeDictionaryKeyCallBacks,
                                                              &kCFTypeDictionaryValueCallBacks));
    (void)AXIsProcessTrustedWithOptions(options.get());
}
