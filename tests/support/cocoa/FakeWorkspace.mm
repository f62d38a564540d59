#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"

#import <AppKit/AppKit.h>

using namespace Qt::StringLiterals;

// The workspace with its running applications.

// NOLINTBEGIN
QList<FakeCocoa::Running> FakeCocoa::running;
std::optional<int> FakeCocoa::front;
bool FakeCocoa::reducesMotion = false;

NSString *const NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification =
    @"NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification";

namespace {
const FakeCocoa::Running *entry(int pid)
{
    for (const FakeCocoa::Running &each : FakeCocoa::running) {
        if (each.pid == pid)
            return &each;
    }
    return nullptr;
}

NSRunningApplication *application(int pid)
{
    NSRunningApplication *const found = [[NSRunningApplication alloc] init];
    found->_pid = pid;
    return found;
}
} // namespace

QString describeUrl(NSURL *url)
{
    if (!url)
        return u"nothing"_s;
    const QString text = QString::fromUtf8(url->_bytes.c_str());
    return !url->_isFile ? text : text + (url->_isFolder ? u" (folder)"_s : u" (file)"_s);
}

@implementation NSRunningApplication
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)process
{
    return entry(process) ? application(process) : nil;
}
+ (NSArray<NSRunningApplication *> *)runningApplicationsWithBundleIdentifier:(NSString *)bundle
{
    NSMutableArray *const found = [[NSMutableArray alloc] init];
    for (const FakeCocoa::Running &each : FakeCocoa::running) {
        if (each.bundle == plainText(bundle))
            [found addObject:application(each.pid)];
    }
    return found;
}
- (pid_t)processIdentifier
{
    return _pid;
}
- (NSString *)localizedName
{
    const FakeCocoa::Running *const found = entry(_pid);
    return found && found->name ? fakeText(*found->name) : nil;
}
- (NSURL *)bundleURL
{
    const FakeCocoa::Running *const found = entry(_pid);
    if (!found || !found->path)
        return nil;
    return [NSURL fileURLWithFileSystemRepresentation:found->path->toUtf8().constData()
                                          isDirectory:YES
                                        relativeToURL:nil];
}
- (NSApplicationActivationPolicy)activationPolicy
{
    const FakeCocoa::Running *const found = entry(_pid);
    return static_cast<NSApplicationActivationPolicy>(found ? found->policy : 2);
}
- (BOOL)isTerminated
{
    const FakeCocoa::Running *const found = entry(_pid);
    return !found || found->isTerminated;
}
- (BOOL)activateWithOptions:(NSUInteger)options
{
    recordCall(u"activate process %1"_s.arg(_pid));
    return YES;
}
- (BOOL)terminate
{
    recordCall(u"terminate %1"_s.arg(_pid));
    return YES;
}
@end

@implementation NSWorkspaceOpenConfiguration
+ (instancetype)configuration
{
    return [[self alloc] init];
}
@end
@implementation NSWorkspace
+ (NSWorkspace *)sharedWorkspace
{
    static NSWorkspace *const workspace = [[NSWorkspace alloc] init];
    return workspace;
}
- (NSNotificationCenter *)notificationCenter
{
    return NSNotificationCenter.defaultCenter;
}
- (BOOL)accessibilityDisplayShouldReduceMotion
{
    MAIN_THREAD;
    return FakeCocoa::reducesMotion;
}
- (NSRunningApplication *)frontmostApplication
{
    return FakeCocoa::front ? application(*FakeCocoa::front) : nil;
}
- (NSArray<NSRunningApplication *> *)runningApplications
{
    NSMutableArray *const all = [[NSMutableArray alloc] init];
    for (const FakeCocoa::Running &each : FakeCocoa::running)
        [all addObject:application(each.pid)];
    return all;
}
namespace {
void answer(const QString &call, NSWorkspaceOpenConfiguration *configuration,
            void (^handler)(NSRunningApplication *, NSError *))
{
    recordCall(call + (configuration.activates ? u", in front"_s : u""_s));
    doLateElsewhere([handler] {
        NSError *const error = fakeError();
        handler(error ? nil : application(1), error);
    });
}
} // namespace
- (void)openApplicationAtURL:(NSURL *)url
               configuration:(NSWorkspaceOpenConfiguration *)configuration
           completionHandler:(void (^)(NSRunningApplication *, NSError *))handler
{
    answer(u"launch "_s + describeUrl(url), configuration, handler);
}
- (void)openURL:(NSURL *)url
        configuration:(NSWorkspaceOpenConfiguration *)configuration
    completionHandler:(void (^)(NSRunningApplication *, NSError *))handler
{
    answer(u"open "_s + describeUrl(url), configuration, handler);
}
- (void)openURLs:(NSArray<NSURL *> *)urls
    withApplicationAtURL:(NSURL *)application
           configuration:(NSWorkspaceOpenConfiguration *)configuration
       completionHandler:(void (^)(NSRunningApplication *, NSError *))handler
{
    answer(u"open %1 of %2 with %3"_s.arg(describeUrl(urls[0]))
               .arg(urls.count)
               .arg(describeUrl(application)),
           configuration, handler);
}
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL *> *)urls
{
    MAIN_THREAD;
    recordCall(u"reveal %1 of %2"_s.arg(describeUrl(urls[0])).arg(urls.count));
}
@end

void FakeCocoa::changeMotion()
{
    deliver(NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification, nil);
}

void resetWorkspace()
{
    FakeCocoa::running.clear();
    FakeCocoa::front.reset();
    FakeCocoa::reducesMotion = false;
}
// NOLINTEND
