// Common faults in Objective-C++, selected by their names on the command line.

#include "FakeCocoa.h"

#import <AppKit/AppKit.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

extern "C" void releaseOnceMore(void *object);

namespace {
using Completion = void (^)(NSRunningApplication *, NSError *);

int s_seen = 0;

// The block outlives the variable, of which it has only the address.
Completion dangling()
{
    int local = 1;
    int *const address = &local;
    return ^(NSRunningApplication *, NSError *) {
      dispatch_async(dispatch_get_main_queue(), ^{
        s_seen = *address;
      });
    };
}

void leaveDangling()
{
    [NSWorkspace.sharedWorkspace openURL:nil
                           configuration:[NSWorkspaceOpenConfiguration configuration]
                       completionHandler:dangling()];
    FakeCocoa::reset();
}

void releaseTooOften()
{
    NSError *const error = [[NSError alloc] init];
    releaseOnceMore((__bridge void *)error);
    s_seen = error.localizedDescription ? 1 : 2;
}

void workElsewhere()
{
    FakeCocoa::makeApplication(true);
    std::thread([] { s_seen = NSApp.isActive; }).join();
}

void leak()
{
    NSError *error = [[NSError alloc] init];
    (void)(__bridge_retained void *)error;
    error = nil;
}
} // namespace

int main(int, char *arguments[])
{
    // An abort is an expected result, which ctest would otherwise report as a crash.
    std::signal(SIGABRT, [](int) { std::_Exit(EXIT_FAILURE); });
    @autoreleasepool {
        if (std::strcmp(arguments[1], "dangling") == 0)
            leaveDangling();
        else if (std::strcmp(arguments[1], "released") == 0)
            releaseTooOften();
        else if (std::strcmp(arguments[1], "elsewhere") == 0)
            workElsewhere();
        else if (std::strcmp(arguments[1], "leaked") == 0)
            leak();
    }
    return EXIT_SUCCESS;
}
