#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"
#include "FakeCoreFoundation.h"

#import <AppKit/AppKit.h>

#include <cstdlib>
#include <cstring>

// Colours, and the symbols that are drawn into a bitmap.

// NOLINTBEGIN
QStringList FakeCocoa::symbols;

namespace {
struct
{
    char *pixels;
    size_t width;
} s_bitmap;
} // namespace

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

// NOLINTEND
