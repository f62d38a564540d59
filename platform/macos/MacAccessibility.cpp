#include "platform/macos/MacAccessibility.h"

#include "platform/macos/CFOwner.h"
#include "platform/macos/MacAccessibleTree.h"

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

std::unique_ptr<AccessibleTree> MacAccessibility::open(ProcessId application,
                                                       std::chrono::milliseconds limit)
{
    auto tree =
        std::make_unique<MacAccessibleTree>(application, std::chrono::steady_clock::now() + limit);
    if (!m_awakened.contains(application)) {
        m_awakened.insert(application);
        tree->awaken();
    }
    return tree;
}
