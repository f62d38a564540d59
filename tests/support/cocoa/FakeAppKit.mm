#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"
#include "FakeCoreFoundation.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

// NOLINTBEGIN
QList<FakeCocoa::Running> FakeCocoa::running;
std::optional<int> FakeCocoa::front;
bool FakeCocoa::isDark = false;
bool FakeCocoa::reducesMotion = false;
QStringList FakeCocoa::symbols;
bool FakeCocoa::hasSession = true;

NSString *const NSAppearanceNameAqua = @"NSAppearanceNameAqua";
NSString *const NSAppearanceNameDarkAqua = @"NSAppearanceNameDarkAqua";
NSString *const NSSystemColorsDidChangeNotification = @"NSSystemColorsDidChangeNotification";
NSString *const NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification =
    @"NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification";
NSApplication *NSApp = nil;
NSString *const NSAccessibilityAnnouncementRequestedNotification = @"AXAnnouncementRequested";
NSString *const NSAccessibilityAnnouncementKey = @"AXAnnouncementKey";
NSString *const NSAccessibilityPriorityKey = @"AXPriorityKey";

#define MAIN_THREAD requireMainThread(sel_getName(_cmd))

namespace {
struct
{
    char *pixels;
    size_t width;
} s_bitmap;
bool s_isRunning = false;
bool s_isActive = false;
NSObject *s_appearanceObserver = nil;
NSWindow *s_window = nil;
NSView *s_frameView = nil;

void note(const QString &call)
{
    FakeCocoa::calls.append(call);
}

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

extern "C" CGColorSpaceRef CGColorSpaceCreateDeviceRGB()
{
    return reinterpret_cast<CGColorSpaceRef>(const_cast<void *>(FakeCoreFoundation::makeNull()));
}

extern "C" CGContextRef CGBitmapContextCreate(void *data, size_t width, size_t height, size_t bits,
                                              size_t bytesPerRow, CGColorSpaceRef space,
                                              uint32_t info)
{
    if (!space || width != height || bits != 8 || bytesPerRow != 4 * width ||
        info != kCGImageAlphaPremultipliedLast)
        std::abort();
    s_bitmap = {static_cast<char *>(data), width};
    return reinterpret_cast<CGContextRef>(const_cast<void *>(FakeCoreFoundation::makeNull()));
}

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

@implementation NSColorSpace
+ (NSColorSpace *)sRGBColorSpace
{
    return [[NSColorSpace alloc] init];
}
@end
@implementation NSColor
+ (NSColor *)controlAccentColor
{
    MAIN_THREAD;
    return [[NSColor alloc] init];
}
+ (NSColor *)clearColor
{
    return [[NSColor alloc] init];
}
- (NSColor *)colorUsingColorSpace:(NSColorSpace *)space
{
    NSColor *const converted = [[NSColor alloc] init];
    converted->_isConverted = space != nil;
    return converted;
}
// A catalogue colour has no components until it is converted.
- (CGFloat)redComponent
{
    return _isConverted ? 0.25 : (std::abort(), 0);
}
- (CGFloat)greenComponent
{
    return _isConverted ? 0.5 : (std::abort(), 0);
}
- (CGFloat)blueComponent
{
    return _isConverted ? 0.75 : (std::abort(), 0);
}
@end

@implementation NSImageSymbolConfiguration
+ (instancetype)configurationWithPointSize:(CGFloat)size weight:(CGFloat)weight
{
    return size > 0 ? [[self alloc] init] : nil;
}
@end
@implementation NSImage
// Also on the render thread while the main thread waits.
+ (instancetype)imageWithSystemSymbolName:(NSString *)name
                 accessibilityDescription:(NSString *)description
{
    return FakeCocoa::symbols.contains(plainText(name)) ? [[self alloc] init] : nil;
}
- (NSImage *)imageWithSymbolConfiguration:(NSImageSymbolConfiguration *)configuration
{
    return configuration ? [[NSImage alloc] init] : nil;
}
- (NSSize)size
{
    return NSMakeSize(20, 10);
}
- (void)drawInRect:(NSRect)rect
{
    if (!NSGraphicsContext.currentContext)
        std::abort();
    const auto left = static_cast<size_t>(rect.origin.x);
    const auto top = static_cast<size_t>(rect.origin.y);
    for (size_t y = top; y < top + static_cast<size_t>(rect.size.height); ++y)
        std::memset(s_bitmap.pixels + 4 * (y * s_bitmap.width + left), 0x7f,
                    4 * static_cast<size_t>(rect.size.width));
}
@end
@implementation NSGraphicsContext
namespace {
NSGraphicsContext *s_current = nil;
NSGraphicsContext *s_saved = nil;
} // namespace
+ (NSGraphicsContext *)currentContext
{
    return s_current;
}
+ (void)setCurrentContext:(NSGraphicsContext *)context
{
    s_current = context;
}
+ (void)saveGraphicsState
{
    s_saved = s_current;
}
+ (void)restoreGraphicsState
{
    s_current = s_saved;
    s_saved = nil;
}
+ (instancetype)graphicsContextWithCGContext:(CGContextRef)context flipped:(BOOL)flipped
{
    if (!context || flipped)
        std::abort();
    NSGraphicsContext *const made = [[self alloc] init];
    made->_bitmap = context;
    return made;
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

@implementation NSView
- (instancetype)initWithFrame:(NSRect)frame
{
    MAIN_THREAD;
    self = [super init];
    _subviews = [[NSMutableArray alloc] init];
    return self;
}
- (NSRect)bounds
{
    return NSMakeRect(0, 0, 720, 648);
}
- (void)addSubview:(NSView *)view positioned:(NSWindowOrderingMode)place relativeTo:(NSView *)other
{
    MAIN_THREAD;
    if (place != NSWindowBelow)
        std::abort();
    auto &views = _subviews->_items;
    views.insert(std::ranges::find(views, other), view);
    view.superview = self;
}
- (BOOL)mouseDownCanMoveWindow
{
    return YES;
}
@end
@interface ToolkitView : NSView
@end
@implementation ToolkitView
@end
@implementation NSVisualEffectView
@end
@implementation NSWindow
- (NSRect)frame
{
    return NSMakeRect(0, 0, 720, 648);
}
- (NSRect)contentRectForFrameRect:(NSRect)rect
{
    MAIN_THREAD;
    const bool isFull = (self.styleMask & NSWindowStyleMaskFullSizeContentView) != 0;
    return NSMakeRect(0, 0, rect.size.width, rect.size.height - (isFull ? 0 : 28));
}
- (void)setContentSize:(NSSize)size
{
    MAIN_THREAD;
    _contentSize = size;
}
- (BOOL)isVisible
{
    MAIN_THREAD;
    return _isShown;
}
- (BOOL)isKeyWindow
{
    MAIN_THREAD;
    return _isShown && s_isActive;
}
- (void)makeKeyAndOrderFront:(id)sender
{
    MAIN_THREAD;
    _isShown = true;
    note(u"front"_s);
}
- (void)center
{
    MAIN_THREAD;
    note(u"center"_s);
}
- (NSWindowLevel)level
{
    MAIN_THREAD;
    return _level;
}
- (void)setLevel:(NSWindowLevel)level
{
    MAIN_THREAD;
    _level = level;
    note(u"level %1"_s.arg(level));
}
@end

void NSAccessibilityPostNotificationWithUserInfo(id element, NSString *notification,
                                                 NSDictionary *userInfo)
{
    requireMainThread(__func__);
    note(u"%1%2: %3, priority %4"_s.arg(
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
    note(u"policy %1"_s.arg(policy));
    return YES;
}
- (void)activateIgnoringOtherApps:(BOOL)ignoring
{
    MAIN_THREAD;
    s_isActive = true;
    note(u"activate %1"_s.arg(ignoring));
}
- (void)hide:(id)sender
{
    MAIN_THREAD;
    s_isActive = false;
    note(u"hide"_s);
}
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)type
{
    MAIN_THREAD;
    note(u"attention %1"_s.arg(type));
    return 1;
}
- (void)yieldActivationToApplication:(NSRunningApplication *)application
{
    MAIN_THREAD;
    note(u"yield to %1"_s.arg(application->_pid));
}
@end

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
    note(u"activate process %1"_s.arg(_pid));
    return YES;
}
- (BOOL)terminate
{
    note(u"terminate %1"_s.arg(_pid));
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
    note(call + (configuration.activates ? u", in front"_s : u""_s));
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
    note(u"reveal %1 of %2"_s.arg(describeUrl(urls[0])).arg(urls.count));
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
    running.clear();
    front.reset();
    isDark = false;
    reducesMotion = false;
    symbols.clear();
    hasSession = true;
    s_isRunning = false;
    s_isActive = false;
    s_window = nil;
    s_frameView = nil;
}

void FakeCocoa::changeColors()
{
    deliver(NSSystemColorsDidChangeNotification, nil);
}

void FakeCocoa::changeMotion()
{
    deliver(NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification, nil);
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

quintptr FakeCocoa::makeWindow()
{
    s_window = [[NSWindow alloc] init];
    s_window.styleMask = NSWindowStyleMaskTitled;
    s_window.opaque = YES;
    s_frameView = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, 720, 648)];
    NSView *const content = [[ToolkitView alloc] initWithFrame:NSMakeRect(0, 0, 720, 620)];
    content.window = s_window;
    content.superview = s_frameView;
    [s_frameView->_subviews addObject:content];
    return reinterpret_cast<quintptr>((__bridge void *)content);
}

QStringList FakeCocoa::describeWindow()
{
    QStringList all{
        u"title bar %1"_s.arg(s_window.titlebarAppearsTransparent ? u"clear"_s : u"drawn"_s),
        u"title %1"_s.arg(s_window.titleVisibility),
        u"moved by its background %1"_s.arg(s_window.isMovableByWindowBackground),
        u"style %1"_s.arg(s_window.styleMask),
        u"opaque %1"_s.arg(s_window.isOpaque),
        u"contents %1x%2"_s.arg(s_window->_contentSize.width).arg(s_window->_contentSize.height),
        u"spaces %1"_s.arg(s_window.collectionBehavior)};
    for (NSView *view in s_frameView->_subviews) {
        if ([view class] == [NSVisualEffectView class]) {
            NSVisualEffectView *const effect = (NSVisualEffectView *)view;
            all.append(u"material %1 %2 %3 %4"_s.arg(effect.material)
                           .arg(effect.blendingMode)
                           .arg(effect.state)
                           .arg(effect.autoresizingMask));
        } else {
            all.append(u"view"_s);
        }
    }
    return all;
}

bool FakeCocoa::movesWindow(quintptr view)
{
    return [(__bridge NSView *)reinterpret_cast<void *>(view) mouseDownCanMoveWindow];
}
// NOLINTEND
