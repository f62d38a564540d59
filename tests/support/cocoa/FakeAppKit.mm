#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"
#include "FakeCoreFoundation.h"

#import <AppKit/AppKit.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

// The application itself with its menus and its appearance.

// NOLINTBEGIN
bool FakeCocoa::isDark = false;
bool FakeCocoa::hasSession = true;

NSString *const NSAppearanceNameAqua = @"NSAppearanceNameAqua";
NSString *const NSAppearanceNameDarkAqua = @"NSAppearanceNameDarkAqua";
NSString *const NSSystemColorsDidChangeNotification = @"NSSystemColorsDidChangeNotification";
NSApplication *NSApp = nil;
NSString *const NSAccessibilityAnnouncementRequestedNotification = @"AXAnnouncementRequested";
NSString *const NSAccessibilityAnnouncementKey = @"AXAnnouncementKey";
NSString *const NSAccessibilityPriorityKey = @"AXPriorityKey";

namespace {
bool s_isRunning = false;
bool s_isActive = false;
NSObject *s_appearanceObserver = nil;
} // namespace

extern "C" CFDictionaryRef CGSessionCopyCurrentDictionary()
{
    return FakeCocoa::hasSession ? static_cast<CFDictionaryRef>(FakeCoreFoundation::makeNull())
                                 : nullptr;
}

@implementation NSAppearance
- (NSString *)bestMatchFromAppearancesWithNames:(NSArray<NSString *> *)names
{
    MAIN_THREAD;
    for (NSString *name in names) {
        if ([name isEqualToString:_name])
            return name;
    }
    return nil;
}
@end

@implementation NSMenuItem
- (instancetype)initWithTitle:(NSString *)title action:(SEL)action keyEquivalent:(NSString *)key
{
    MAIN_THREAD;
    self = [super init];
    _title = title;
    _action = action;
    _key = key;
    return self;
}
@end
@implementation NSMenu
- (instancetype)initWithTitle:(NSString *)title
{
    MAIN_THREAD;
    self = [super init];
    _items = [[NSMutableArray alloc] init];
    return self;
}
- (void)addItem:(NSMenuItem *)item
{
    MAIN_THREAD;
    [_items addObject:item];
}
- (NSMenuItem *)addItemWithTitle:(NSString *)title action:(SEL)action keyEquivalent:(NSString *)key
{
    NSMenuItem *const item = [[NSMenuItem alloc] initWithTitle:title
                                                        action:action
                                                 keyEquivalent:key];
    [self addItem:item];
    return item;
}
@end

void NSAccessibilityPostNotificationWithUserInfo(id element, NSString *notification,
                                                 NSDictionary *userInfo)
{
    requireMainThread(__func__);
    recordCall(u"%1%2: %3, priority %4"_s.arg(
        plainText(notification), element == NSApp ? u" of the application"_s : QString(),
        plainText(userInfo[NSAccessibilityAnnouncementKey]),
        QString::number([userInfo[NSAccessibilityPriorityKey] integerValue])));
}

@implementation NSApplication
+ (NSApplication *)sharedApplication
{
    MAIN_THREAD;
    if (!NSApp)
        NSApp = [[NSApplication alloc] init];
    return NSApp;
}
- (NSAppearance *)effectiveAppearance
{
    MAIN_THREAD;
    NSAppearance *const appearance = [[NSAppearance alloc] init];
    appearance->_name = FakeCocoa::isDark ? NSAppearanceNameDarkAqua : NSAppearanceNameAqua;
    return appearance;
}
- (void)addObserver:(NSObject *)observer
         forKeyPath:(NSString *)keyPath
            options:(NSUInteger)options
            context:(void *)context
{
    MAIN_THREAD;
    if (plainText(keyPath) != u"effectiveAppearance")
        std::abort();
    s_appearanceObserver = observer;
}
- (BOOL)isActive
{
    MAIN_THREAD;
    return s_isActive;
}
- (BOOL)isRunning
{
    MAIN_THREAD;
    return s_isRunning;
}
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy
{
    MAIN_THREAD;
    recordCall(u"policy %1"_s.arg(policy));
    return YES;
}
- (void)activateIgnoringOtherApps:(BOOL)ignoring
{
    MAIN_THREAD;
    s_isActive = true;
    recordCall(u"activate %1"_s.arg(ignoring));
}
- (void)hide:(id)sender
{
    MAIN_THREAD;
    s_isActive = false;
    recordCall(u"hide"_s);
}
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)type
{
    MAIN_THREAD;
    recordCall(u"attention %1"_s.arg(type));
    return 1;
}
- (void)yieldActivationToApplication:(NSRunningApplication *)application
{
    MAIN_THREAD;
    recordCall(u"yield to %1"_s.arg(application->_pid));
}
@end

void FakeCocoa::makeApplication(bool isRunning)
{
    (void)NSApplication.sharedApplication;
    if (!NSApp.mainMenu)
        NSApp.mainMenu = [[NSMenu alloc] initWithTitle:@""];
    s_isRunning = isRunning;
}

void FakeCocoa::reset()
{
    resetFoundation();
    resetWorkspace();
    resetWindow();
    isDark = false;
    symbols.clear();
    hasSession = true;
    s_isRunning = false;
    s_isActive = false;
}

void FakeCocoa::changeColors()
{
    deliver(NSSystemColorsDidChangeNotification, nil);
}

void FakeCocoa::changeAppearance()
{
    [s_appearanceObserver observeValueForKeyPath:@"effectiveAppearance"
                                        ofObject:NSApp
                                          change:nil
                                         context:nullptr];
}

bool FakeCocoa::reopen(bool hasVisibleWindows)
{
    const id<NSApplicationDelegate> delegate = NSApp.delegate;
    return [delegate respondsToSelector:@selector(applicationShouldHandleReopen:
                                                              hasVisibleWindows:)] &&
           [delegate applicationShouldHandleReopen:NSApp hasVisibleWindows:hasVisibleWindows];
}

void FakeCocoa::chooseMenuItem(const QString &title)
{
    for (NSMenuItem *menu in NSApp.mainMenu->_items) {
        for (NSMenuItem *item in menu.submenu->_items) {
            if (plainText(item->_title) == title)
                [item.target performSelector:item->_action withObject:item];
        }
    }
}

QStringList FakeCocoa::menus()
{
    QStringList all;
    for (NSMenuItem *menu in NSApp.mainMenu->_items) {
        for (NSMenuItem *item in menu.submenu->_items)
            all.append(plainText(menu->_title) + u": "_s + plainText(item->_title) + u' ' +
                       plainText(item->_key));
    }
    return all;
}
// NOLINTEND
