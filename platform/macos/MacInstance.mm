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

NSString *keyQuestionName()
{
    return [bundle stringByAppendingString:@".request.hotKey"];
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
// Waits for an answer about this process, and runs the event loop meanwhile; there are no other
// events this early.
bool isAnswered(NSString *question, double limitSeconds)
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
    post(question, self);
    NSDate *const limit = [NSDate dateWithTimeIntervalSinceNow:limitSeconds];
    while (!isAnswered && limit.timeIntervalSinceNow > 0)
        [NSRunLoop.currentRunLoop runMode:NSDefaultRunLoopMode beforeDate:limit];
    [center() removeObserver:observer];
    return isAnswered;
}
} // namespace

MacInstance::MacInstance(std::function<bool()> ownsHotKey) : m_ownsHotKey(std::move(ownsHotKey)) {}

bool MacInstance::runningOwnsHotKey()
{
    return runsElsewhere() && isAnswered(keyQuestionName(), keyAnswerLimit);
}

bool MacInstance::runsElsewhere()
{
    // NOLINTNEXTLINE(*-init-variables): the loop sets it
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
    // Only a process with the hot key answers.
    const std::function<bool()> ownsHotKey = m_ownsHotKey;
    [center() addObserverForName:keyQuestionName()
                          object:nil
                           queue:NSOperationQueue.mainQueue
                      usingBlock:^(NSNotification *notification) {
                        if (ownsHotKey())
                            post(answerName(), notification.object);
                      }];
    return true;
}

Instance::Answer MacInstance::handOver(Request request)
{
    if (isAnswered(nameOf(request), answerLimit))
        return Answer::taken;
    return runsElsewhere() ? Answer::silent : Answer::notRunning;
}
