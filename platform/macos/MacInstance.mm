#include "platform/macos/MacInstance.h"

#import <AppKit/AppKit.h>

#include <utility>

namespace {
NSString *const bundle = @"app.quillon.Quillon";

NSString *nameOf(Instance::Request request)
{
    return [NSString stringWithFormat:@"%@.request.%d", bundle, static_cast<int>(request)];
}

NSString *answerName()
{
    return [bundle stringByAppendingString:@".answer"];
}

NSDistributedNotificationCenter *center()
{
    return NSDistributedNotificationCenter.defaultCenter;
}

// Sends a distributed notification; the object is the process that it concerns.
void post(NSString *name, NSString *about)
{
    [center() postNotificationName:name object:about userInfo:nil deliverImmediately:YES];
}

void listen(Instance::Request request, const std::function<void(Instance::Request)> &received)
{
    const std::function<void(Instance::Request)> kept = received;
    [center() addObserverForName:nameOf(request)
                          object:nil
                           queue:NSOperationQueue.mainQueue
                      usingBlock:^(NSNotification *notification) {
                        post(answerName(), notification.object);
                        kept(request);
                      }];
}
} // namespace

bool MacInstance::runsElsewhere()
{
    for (NSRunningApplication *each in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:bundle]) {
        // A task in a terminal may be listed as a background process of the same bundle.
        const bool isOther = each.processIdentifier != NSProcessInfo.processInfo.processIdentifier;
        if (isOther && !each.terminated &&
            each.activationPolicy == NSApplicationActivationPolicyRegular)
            return true;
    }
    return false;
}

bool MacInstance::claim(std::function<void(Request)> received)
{
    if (runsElsewhere())
        return false;
    listen(Request::open, received);
    listen(Request::toggle, received);
    return true;
}

Instance::Answer MacInstance::handOver(Request request)
{
    NSString *const self =
        [NSString stringWithFormat:@"%d", NSProcessInfo.processInfo.processIdentifier];
    __block bool isAnswered = false;
    const id observer = [center() addObserverForName:answerName()
                                              object:self
                                               queue:nil
                                          usingBlock:^(NSNotification *) {
                                            isAnswered = true;
                                          }];
    post(nameOf(request), self);
    // Runs the event loop until the answer arrives; there are no other events this early.
    NSDate *const limit = [NSDate dateWithTimeIntervalSinceNow:answerLimit];
    while (!isAnswered && limit.timeIntervalSinceNow > 0)
        [NSRunLoop.currentRunLoop runMode:NSDefaultRunLoopMode beforeDate:limit];
    [center() removeObserver:observer];
    if (isAnswered)
        return Answer::taken;
    return runsElsewhere() ? Answer::silent : Answer::nobody;
}
