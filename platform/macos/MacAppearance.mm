#include "platform/macos/MacAppearance.h"

#include "platform/macos/CFOwner.h"
#include "platform/macos/CocoaText.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <utility>

namespace {
std::function<void()> s_changed;

// At this point size, relative to the square, the round symbols of the set fill it.
constexpr double symbolPointSize = 0.8;

NSRect inTheMiddle(NSSize size, int side)
{
    const double fit = std::min({1.0, side / size.width, side / size.height});
    const NSSize fitted = NSMakeSize(fit * size.width, fit * size.height);
    return NSMakeRect((side - fitted.width) / 2, (side - fitted.height) / 2, fitted.width,
                      fitted.height);
}

Look::Color components(NSColor *color)
{
    return {color.redComponent, color.greenComponent, color.blueComponent};
}
} // namespace

/// Is notified of changes of the settings.
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

QByteArray MacAppearance::symbol(const QString &name, int side)
{
    @autoreleasepool {
        NSImage *const any = [NSImage imageWithSystemSymbolName:toCocoa(name)
                                       accessibilityDescription:nil];
        NSImage *const symbol =
            [any imageWithSymbolConfiguration:[NSImageSymbolConfiguration
                                                  configurationWithPointSize:symbolPointSize * side
                                                                      weight:NSFontWeightRegular]];
        if (!symbol)
            return {};
        const auto width = static_cast<size_t>(side);
        constexpr size_t channels = 4;
        QByteArray pixels(static_cast<qsizetype>(channels * width * width), '\0');
        const CFOwner<CGColorSpaceRef> space(CGColorSpaceCreateDeviceRGB());
        const CFOwner<CGContextRef> bitmap(CGBitmapContextCreate(pixels.data(), width, width, 8,
                                                                 channels * width, space.get(),
                                                                 kCGImageAlphaPremultipliedLast));
        [NSGraphicsContext saveGraphicsState];
        NSGraphicsContext.currentContext =
            [NSGraphicsContext graphicsContextWithCGContext:bitmap.get() flipped:NO];
        [symbol drawInRect:inTheMiddle(symbol.size, side)];
        [NSGraphicsContext restoreGraphicsState];
        QByteArray coverage;
        for (qsizetype alpha = channels - 1; alpha < pixels.size(); alpha += channels)
            coverage.append(pixels.at(alpha));
        return coverage;
    }
}
