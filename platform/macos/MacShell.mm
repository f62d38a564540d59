#include "platform/macos/MacShell.h"

#include "platform/FittingSize.h"
#include "platform/NativeWindow.h"
#include "platform/macos/CFOwner.h"
#include "platform/macos/CocoaText.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#import <objc/runtime.h>

#include <string>
#include <utility>

namespace {
std::function<void(bool)> s_reopened;
} // namespace

/// The toolkit's own delegate forwards the messages that it does not handle to this one.
@interface QuillonReopening : NSObject <NSApplicationDelegate>
@end

@implementation QuillonReopening
- (BOOL)applicationShouldHandleReopen:(NSApplication *)sender hasVisibleWindows:(BOOL)flag
{
    (void)sender;
    s_reopened(flag);
    return YES;
}
@end

/// The target of a menu item.
@interface QuillonMenuAction : NSObject {
    std::function<void()> _chosen;
}
- (instancetype)initWithFunction:(std::function<void()>)chosen;
- (void)choose:(id)sender;
@end

@implementation QuillonMenuAction
- (instancetype)initWithFunction:(std::function<void()>)chosen
{
    self = [super init];
    _chosen = std::move(chosen);
    return self;
}

- (void)choose:(id)sender
{
    (void)sender;
    _chosen();
}
@end

namespace {
NSView *view(NativeWindow &window)
{
    // NOLINTNEXTLINE(*-casting-through-void, *-no-int-to-ptr): Qt's handle is the view's address
    return (__bridge NSView *)reinterpret_cast<void *>(window.handle());
}

NSMenu *newMenu(NSString *title)
{
    NSMenu *const menu = [[NSMenu alloc] initWithTitle:title];
    NSMenuItem *const item = [[NSMenuItem alloc] initWithTitle:title action:nil keyEquivalent:@""];
    item.submenu = menu;
    [NSApp.mainMenu addItem:item];
    return menu;
}

// The usual menus for windows, without one for a new window.
NSMenu *newEditMenu()
{
    [newMenu(@"File") addItemWithTitle:@"Close" action:@selector(performClose:) keyEquivalent:@"w"];
    NSMenu *const edit = newMenu(@"Edit");
    [newMenu(@"Window") addItemWithTitle:@"Minimize"
                                  action:@selector(performMiniaturize:)
                           keyEquivalent:@"m"];
    return edit;
}
} // namespace

bool MacShell::hasDisplay()
{
    // Logins without the window server, such as by ssh, have no session dictionary.
    return CFOwner<CFDictionaryRef>(CGSessionCopyCurrentDictionary()) != nullptr;
}

void MacShell::observeReopening(std::function<void(bool)> reopened)
{
    s_reopened = std::move(reopened);
    // NSApplication does not retain its delegate.
    static QuillonReopening *const delegate = [[QuillonReopening alloc] init];
    NSApplication.sharedApplication.delegate = delegate;
}

Qt::WindowFlags MacShell::windowFlags() const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    // The toolkit then extends the contents under the title bar and keeps them there.
    return Qt::Window | Qt::ExpandedClientAreaHint | Qt::NoTitleBarBackgroundHint;
#else
    return Qt::Window;
#endif
}

void MacShell::setRegularPolicy()
{
    [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
}

void MacShell::addItem(const QString &title, QChar key, std::function<void()> chosen)
{
    static NSMenu *const menu = newEditMenu();
    // Menu items do not retain their targets either.
    static NSMutableArray *const actions = [[NSMutableArray alloc] init];
    QuillonMenuAction *const action =
        [[QuillonMenuAction alloc] initWithFunction:std::move(chosen)];
    [actions addObject:action];
    NSMenuItem *const item = [menu addItemWithTitle:toCocoa(title)
                                             action:@selector(choose:)
                                      keyEquivalent:toCocoa(key)];
    item.target = action;
}

bool MacShell::isActive()
{
    return NSApp.isActive;
}

void MacShell::activate()
{
    [NSApp activateIgnoringOtherApps:YES];
}

void MacShell::hide()
{
    [NSApp hide:nil];
}

void MacShell::announce(const QString &text, quint32)
{
    NSDictionary *const announcement = @{
        NSAccessibilityAnnouncementKey : toCocoa(text),
        NSAccessibilityPriorityKey : [NSNumber numberWithInteger:NSAccessibilityPriorityMedium]
    };
    NSAccessibilityPostNotificationWithUserInfo(
        NSApp, NSAccessibilityAnnouncementRequestedNotification, announcement);
}

bool MacShell::isVisible(NativeWindow &window)
{
    return view(window).window.isVisible;
}

bool MacShell::isKey(NativeWindow &window)
{
    return view(window).window.isKeyWindow;
}

void MacShell::makeKeyAndOrderFront(NativeWindow &window)
{
    window.show();
    [view(window).window makeKeyAndOrderFront:nil];
}

void MacShell::center(NativeWindow &window)
{
    // center() uses the window's screen, so the window is first moved to the user's.
    const QRect area = window.screenArea();
    window.moveTo(area.topLeft());
    // A large Dock on a small display leaves less than the panel's usual height.
    window.resize(fittingSize(window, area.size()));
    [view(window).window center];
}

void MacShell::keepAbove(NativeWindow &window, bool isAbove)
{
    view(window).window.level = isAbove ? NSFloatingWindowLevel : NSNormalWindowLevel;
}

void MacShell::requestAttention(NativeWindow &, Urgency urgency)
{
    [NSApp requestUserAttention:urgency == Urgency::question ? NSCriticalRequest
                                                             : NSInformationalRequest];
}

void MacShell::style(NativeWindow &window)
{
    NSWindow *const panel = view(window).window;
    const NSSize size = [panel contentRectForFrameRect:panel.frame].size;
    [panel setTitlebarAppearsTransparent:YES];
    [panel setTitleVisibility:NSWindowTitleHidden];
    [panel setMovableByWindowBackground:YES];
    [panel setStyleMask:panel.styleMask | NSWindowStyleMaskFullSizeContentView];
    [panel setOpaque:NO];
    [panel setBackgroundColor:NSColor.clearColor];
    // Keeps the size of the contents, which now extend under the title bar. Otherwise the panel
    // would grow each time it is created.
    [panel setContentSize:size];
    // The panel moves to the active space, also of a full-screen application. It has no full-screen
    // mode: when a window leaves that, the toolkit restores its style with a title bar.
    panel.collectionBehavior = NSWindowCollectionBehaviorMoveToActiveSpace |
                               NSWindowCollectionBehaviorFullScreenAuxiliary |
                               NSWindowCollectionBehaviorFullScreenDisallowsTiling;
}

void MacShell::placeMaterialBehind(NativeWindow &window, Material material)
{
    NSView *const content = view(window);
    // By default, a window that is not opaque can be dragged by anything in it, also by selected
    // text and scroll bars. The panel itself handles dragging its empty areas.
    const std::string types = std::string(@encode(BOOL)) + "@:";
    class_addMethod(content.class, @selector(mouseDownCanMoveWindow),
                    imp_implementationWithBlock(^BOOL(id) {
                      return NO;
                    }),
                    types.c_str());
    // Covers the whole window, although its contents may still end below a title bar. AppKit logs
    // that it does not know this subview of the frame. The usual way is to use the material as the
    // content view with the contents in it, but the toolkit's view has to remain the content view,
    // and inside that one the material would cover what is drawn.
    NSVisualEffectView *const effect =
        [[NSVisualEffectView alloc] initWithFrame:content.superview.bounds];
    [effect setMaterial:static_cast<NSVisualEffectMaterial>(material)];
    [effect setBlendingMode:NSVisualEffectBlendingModeBehindWindow];
    [effect setState:NSVisualEffectStateActive];
    effect.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
    [content.superview addSubview:effect positioned:NSWindowBelow relativeTo:content];
}
