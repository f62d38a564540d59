#pragma once

// The parts of AppKit that our code uses; see Foundation.h.

#include <CoreGraphics/CoreGraphics.h>

#include <cstddef>

#import <Foundation/Foundation.h>

// NOLINTBEGIN
using CGFloat = double;
struct NSSize
{
    CGFloat width;
    CGFloat height;
};
struct NSPoint
{
    CGFloat x;
    CGFloat y;
};
struct NSRect
{
    NSPoint origin;
    NSSize size;
};
inline NSSize NSMakeSize(CGFloat width, CGFloat height)
{
    return {width, height};
}
inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height)
{
    return {{x, y}, {width, height}};
}

using CGColorSpaceRef = struct CGColorSpace *;
using CGContextRef = struct CGContext *;
constexpr uint32_t kCGImageAlphaPremultipliedLast = 1;
extern "C" {
CGColorSpaceRef CGColorSpaceCreateDeviceRGB();
CGContextRef CGBitmapContextCreate(void *data, size_t width, size_t height, size_t bits,
                                   size_t bytesPerRow, CGColorSpaceRef space, uint32_t info);
CFDictionaryRef CGSessionCopyCurrentDictionary();
}

enum NSApplicationActivationPolicy : NSInteger {
    NSApplicationActivationPolicyRegular,
    NSApplicationActivationPolicyAccessory,
    NSApplicationActivationPolicyProhibited
};
enum NSWindowTitleVisibility : NSInteger { NSWindowTitleVisible, NSWindowTitleHidden };
enum NSVisualEffectMaterial : NSInteger {};
enum NSVisualEffectBlendingMode : NSInteger { NSVisualEffectBlendingModeBehindWindow };
enum NSVisualEffectState : NSInteger { NSVisualEffectStateActive = 1 };
enum NSWindowOrderingMode : NSInteger { NSWindowBelow = -1 };
constexpr NSUInteger NSWindowStyleMaskTitled = 1;
constexpr NSUInteger NSWindowStyleMaskFullSizeContentView = 1 << 15;
constexpr NSUInteger NSWindowCollectionBehaviorMoveToActiveSpace = 1 << 1;
constexpr NSUInteger NSWindowCollectionBehaviorFullScreenAuxiliary = 1 << 8;
constexpr NSUInteger NSWindowCollectionBehaviorFullScreenDisallowsTiling = 1 << 12;
constexpr NSUInteger NSViewWidthSizable = 2;
constexpr NSUInteger NSViewHeightSizable = 16;
constexpr CGFloat NSFontWeightRegular = 0;

extern NSString *const NSAppearanceNameAqua;
extern NSString *const NSAppearanceNameDarkAqua;
extern NSString *const NSSystemColorsDidChangeNotification;
extern NSString *const NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification;

@interface NSAppearance : NSObject {
@public
    NSString *_name;
}
- (NSString *)bestMatchFromAppearancesWithNames:(NSArray<NSString *> *)names;
@end

@interface NSColorSpace : NSObject
@property(class, readonly) NSColorSpace *sRGBColorSpace;
@end
@interface NSColor : NSObject {
@public
    bool _isConverted;
}
@property(class, readonly) NSColor *controlAccentColor;
@property(class, readonly) NSColor *clearColor;
- (NSColor *)colorUsingColorSpace:(NSColorSpace *)space;
@property(readonly) CGFloat redComponent;
@property(readonly) CGFloat greenComponent;
@property(readonly) CGFloat blueComponent;
@end

@interface NSImageSymbolConfiguration : NSObject
+ (instancetype)configurationWithPointSize:(CGFloat)size weight:(CGFloat)weight;
@end
@interface NSImage : NSObject
+ (instancetype)imageWithSystemSymbolName:(NSString *)name
                 accessibilityDescription:(NSString *)description;
- (NSImage *)imageWithSymbolConfiguration:(NSImageSymbolConfiguration *)configuration;
@property(readonly) NSSize size;
- (void)drawInRect:(NSRect)rect;
@end
@interface NSGraphicsContext : NSObject {
@public
    CGContextRef _bitmap;
}
@property(class, strong) NSGraphicsContext *currentContext;
+ (void)saveGraphicsState;
+ (void)restoreGraphicsState;
+ (instancetype)graphicsContextWithCGContext:(CGContextRef)context flipped:(BOOL)flipped;
@end

@class NSMenu;
@interface NSMenuItem : NSObject {
@public
    NSString *_title;
    NSString *_key;
    SEL _action;
}
- (instancetype)initWithTitle:(NSString *)title action:(SEL)action keyEquivalent:(NSString *)key;
@property(strong) NSMenu *submenu;
@property(weak) id target;
@end
@interface NSMenu : NSObject {
@public
    NSMutableArray<NSMenuItem *> *_items;
}
- (instancetype)initWithTitle:(NSString *)title;
- (void)addItem:(NSMenuItem *)item;
- (NSMenuItem *)addItemWithTitle:(NSString *)title action:(SEL)action keyEquivalent:(NSString *)key;
@end

@class NSWindow;
@interface NSView : NSObject {
@public
    NSMutableArray<NSView *> *_subviews;
}
- (instancetype)initWithFrame:(NSRect)frame;
@property(weak) NSWindow *window;
@property(weak) NSView *superview;
@property(readonly) NSRect bounds;
@property NSUInteger autoresizingMask;
- (BOOL)mouseDownCanMoveWindow;
- (void)addSubview:(NSView *)view positioned:(NSWindowOrderingMode)place relativeTo:(NSView *)other;
@end
@interface NSVisualEffectView : NSView
@property NSVisualEffectMaterial material;
@property NSVisualEffectBlendingMode blendingMode;
@property NSVisualEffectState state;
@end
using NSWindowLevel = NSInteger;
constexpr NSWindowLevel NSNormalWindowLevel = 0;
constexpr NSWindowLevel NSFloatingWindowLevel = 3;
@interface NSWindow : NSObject {
@public
    NSSize _contentSize;
    NSWindowLevel _level;
    bool _isShown;
}
@property(readonly) NSRect frame;
@property BOOL titlebarAppearsTransparent;
@property NSWindowTitleVisibility titleVisibility;
@property(getter=isMovableByWindowBackground) BOOL movableByWindowBackground;
@property NSUInteger styleMask;
@property NSWindowLevel level;
@property(getter=isOpaque) BOOL opaque;
@property(strong) NSColor *backgroundColor;
@property NSUInteger collectionBehavior;
@property(getter=isVisible, readonly) BOOL visible;
@property(getter=isKeyWindow, readonly) BOOL keyWindow;
- (NSRect)contentRectForFrameRect:(NSRect)rect;
- (void)setContentSize:(NSSize)size;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)center;
@end

@class NSRunningApplication;
@class NSApplication;
@protocol NSApplicationDelegate <NSObject>
@optional
- (BOOL)applicationShouldHandleReopen:(NSApplication *)sender hasVisibleWindows:(BOOL)flag;
@end
enum NSRequestUserAttentionType : NSUInteger { NSCriticalRequest = 0, NSInformationalRequest = 10 };
@interface NSApplication : NSObject
@property(class, readonly) NSApplication *sharedApplication;
@property(weak) id<NSApplicationDelegate> delegate;
@property(readonly) NSAppearance *effectiveAppearance;
@property(strong) NSMenu *mainMenu;
@property(getter=isActive, readonly) BOOL active;
@property(getter=isRunning, readonly) BOOL running;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (void)activateIgnoringOtherApps:(BOOL)ignoring;
- (void)hide:(id)sender;
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)type;
- (void)yieldActivationToApplication:(NSRunningApplication *)application;
@end
extern NSApplication *NSApp;

extern NSString *const NSAccessibilityAnnouncementRequestedNotification;
extern NSString *const NSAccessibilityAnnouncementKey;
extern NSString *const NSAccessibilityPriorityKey;
enum NSAccessibilityPriorityLevel : NSInteger { NSAccessibilityPriorityMedium = 50 };
extern "C" void NSAccessibilityPostNotificationWithUserInfo(id element, NSString *notification,
                                                            NSDictionary *userInfo);

@interface NSRunningApplication : NSObject {
@public
    int _pid;
}
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)process;
+ (NSArray<NSRunningApplication *> *)runningApplicationsWithBundleIdentifier:(NSString *)bundle;
@property(readonly) pid_t processIdentifier;
@property(readonly) NSString *localizedName;
@property(readonly) NSURL *bundleURL;
@property(readonly) NSApplicationActivationPolicy activationPolicy;
@property(getter=isTerminated, readonly) BOOL terminated;
- (BOOL)activateWithOptions:(NSUInteger)options;
- (BOOL)terminate;
@end

@interface NSWorkspaceOpenConfiguration : NSObject
+ (instancetype)configuration;
@property BOOL activates;
@end
@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace *sharedWorkspace;
@property(readonly) NSNotificationCenter *notificationCenter;
@property(readonly) BOOL accessibilityDisplayShouldReduceMotion;
@property(readonly) NSRunningApplication *frontmostApplication;
@property(readonly) NSArray<NSRunningApplication *> *runningApplications;
- (void)openApplicationAtURL:(NSURL *)url
               configuration:(NSWorkspaceOpenConfiguration *)configuration
           completionHandler:(void (^)(NSRunningApplication *, NSError *))handler;
- (void)openURL:(NSURL *)url
        configuration:(NSWorkspaceOpenConfiguration *)configuration
    completionHandler:(void (^)(NSRunningApplication *, NSError *))handler;
- (void)openURLs:(NSArray<NSURL *> *)urls
    withApplicationAtURL:(NSURL *)application
           configuration:(NSWorkspaceOpenConfiguration *)configuration
       completionHandler:(void (^)(NSRunningApplication *, NSError *))handler;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL *> *)urls;
@end
// NOLINTEND
