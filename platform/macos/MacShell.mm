#include "platform/macos/MacShell.h"

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

/// Stands behind the toolkit's own delegate, which passes on what it does not handle itself.
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

/// What a menu item does.
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

// The menus that windows have on this system, without one for another window.
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
    // A login without the window server has none.
    return CFOwner<CFDictionaryRef>(CGSessionCopyCurrentDictionary()) != nullptr;
}

void MacShell::observeReopening(std::function<void(bool)> reopened)
{
    s_reopened = std::move(reopened);
    // The application does not keep its delegate alive.
    static QuillonReopening *const delegate = [[QuillonReopening alloc] init];
    NSApplication.sharedApplication.delegate = delegate;
}

Qt::WindowFlags MacShell::windowFlags() const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    // The toolkit then knows that the contents reach under the title bar, and keeps it so.
    return Qt::Window | Qt::ExpandedClientAreaHint | Qt::NoTitleBarBackgroundHint;
#else
    return Qt::Window;
#endif
}

void MacShell::setRegularPolicy()
{
    [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
}

void MacShell::addMenuItem(const QString &title, QChar key, std::function<void()> chosen)
{
    static NSMenu *const menu = newEditMenu();
    // Menu items do not keep their targets alive either.
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
    // It is centred on the screen that it is on, which is to be the user's.
    window.moveTo(window.screenArea().topLeft());
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
    // The contents, which now reach under the title bar, stay as large as the toolkit made them,
    // and the panel does not grow each time that it is made anew.
    [panel setContentSize:size];
    // The panel comes to where the user is, also beside an application that fills the screen. It
    // has no full screen of its own: when a window leaves that, the toolkit dresses it anew, with a
    // title bar.
    panel.collectionBehavior = NSWindowCollectionBehaviorMoveToActiveSpace |
                               NSWindowCollectionBehaviorFullScreenAuxiliary |
                               NSWindowCollectionBehaviorFullScreenDisallowsTiling;
}

void MacShell::placeMaterialBehind(NativeWindow &window, Material material)
{
    NSView *const content = view(window);
    // What is not opaque lets itself be dragged by anything on it, selected text and scroll bars
    // too. The panel moves itself where it is empty.
    const std::string types = std::string(@encode(BOOL)) + "@:";
    class_addMethod(content.class, @selector(mouseDownCanMoveWindow),
                    imp_implementationWithBlock(^BOOL(id) {
                      return NO;
                    }),
                    types.c_str());
    // All of the window, although its contents may still end below a title bar. AppKit says in the
    // terminal that it does not know this view of the frame. Its own way would be the material as
    // the window's content view with the contents in it, but the toolkit's view has to stay the
    // content view; and in that one the material would cover what is drawn.
    NSVisualEffectView *const effect =
        [[NSVisualEffectView alloc] initWithFrame:content.superview.bounds];
    [effect setMaterial:static_cast<NSVisualEffectMaterial>(material)];
    [effect setBlendingMode:NSVisualEffectBlendingModeBehindWindow];
    [effect setState:NSVisualEffectStateActive];
    effect.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
    [content.superview addSubview:effect positioned:NSWindowBelow relativeTo:content];
}
