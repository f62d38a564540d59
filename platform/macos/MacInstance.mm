#include "platform/macos/MacInstance.h"

#import <AppKit/AppKit.h>

namespace {
NSString *const bundle = @"app.quillon.Quillon";

NSString *nameOf(Instance::Request request)
{
    return [NSString stringWithFormat:@"%@.request.%d", bundle, static_cast<int>(request)];
}

void listen(Instance::Request request, const std::function<void(Instance::Request)> &received)
{
    const std::function<void(Instance::Request)> kept = received;
    [NSDistributedNotificationCenter.defaultCenter addObserverForName:nameOf(request)
                                                               object:nil
                                                                queue:NSOperationQueue.mainQueue
                                                           usingBlock:^(NSNotification *) {
                                                             kept(request);
                                                           }];
}
} // namespace

bool MacInstance::claim(std::function<void(Request)> received)
{
    listen(Request::open, received);
    listen(Request::toggle, received);
    for (NSRunningApplication *each in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:bundle]) {
        // A task in the terminal may count as a background one of the same bundle.
        const bool isOther = each.processIdentifier != NSProcessInfo.processInfo.processIdentifier;
        if (isOther && !each.terminated &&
            each.activationPolicy == NSApplicationActivationPolicyRegular)
            return false;
    }
    return true;
}

Instance::Answer MacInstance::handOver(Request request)
{
    [NSDistributedNotificationCenter.defaultCenter postNotificationName:nameOf(request)
                                                                 object:nil
                                                               userInfo:nil
                                                     deliverImmediately:YES];
    return Answer::taken;
}
