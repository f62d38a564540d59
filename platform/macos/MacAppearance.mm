#include "platform/macos/MacAppearance.h"

#import <AppKit/AppKit.h>

#include <utility>

namespace {
std::function<void()> s_changed;

Look::Color components(NSColor *color)
{
    return {color.redComponent, color.greenComponent, color.blueComponent};
}
} // namespace

/// Hears of every change of the settings.
@interface QuillonAppearanceObserver : NSObject
- (void)settingsDidChange:(NSNotification *)notification;
@end

@implementation QuillonAppearanceObserver
- (void)settingsDidChange:(NSNotification *)notification
{
    (void)notification;
    s_changed();
}

- (void)observeValueForKeyPath:(NSString *)keyPath
                      ofObject:(id)object
                        change:(NSDictionary *)change
                       context:(void *)context
{
    (void)keyPath;
    (void)object;
    (void)change;
    (void)context;
    s_changed();
}
@end

namespace {
QuillonAppearanceObserver *installedObserver()
{
    QuillonAppearanceObserver *const observer = [[QuillonAppearanceObserver alloc] init];
    [NSApp addObserver:observer forKeyPath:@"effectiveAppearance" options:0 context:nil];
    [NSNotificationCenter.defaultCenter addObserver:observer
                                           selector:@selector(settingsDidChange:)
                                               name:NSSystemColorsDidChangeNotification
                                             object:nil];
    [NSWorkspace.sharedWorkspace.notificationCenter
        addObserver:observer
           selector:@selector(settingsDidChange:)
               name:NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification
             object:nil];
    return observer;
}
} // namespace

Look MacAppearance::look()
{
    NSString *const appearance = [NSApp.effectiveAppearance
        bestMatchFromAppearancesWithNames:@[ NSAppearanceNameAqua, NSAppearanceNameDarkAqua ]];
    NSColor *const accent =
        [NSColor.controlAccentColor colorUsingColorSpace:NSColorSpace.sRGBColorSpace];
    return {.isDark = static_cast<bool>([appearance isEqualToString:NSAppearanceNameDarkAqua]),
            .hasReducedMotion = static_cast<bool>(
                NSWorkspace.sharedWorkspace.accessibilityDisplayShouldReduceMotion),
            .accent = components(accent)};
}

void MacAppearance::observe(std::function<void()> changed)
{
    s_changed = std::move(changed);
    static QuillonAppearanceObserver *const observer = installedObserver();
    (void)observer;
}
