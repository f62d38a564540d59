#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <cstdlib>

using namespace Qt::StringLiterals;

// The window, its views and the material behind them.

// NOLINTBEGIN
namespace {
NSWindow *s_window = nil;
NSView *s_frameView = nil;
} // namespace

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
    return _isShown && NSApp.isActive;
}
- (void)makeKeyAndOrderFront:(id)sender
{
    MAIN_THREAD;
    _isShown = true;
    recordCall(u"front"_s);
}
- (void)center
{
    MAIN_THREAD;
    recordCall(u"center"_s);
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
    recordCall(u"level %1"_s.arg(level));
}
@end

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

void resetWindow()
{
    s_window = nil;
    s_frameView = nil;
}
// NOLINTEND
