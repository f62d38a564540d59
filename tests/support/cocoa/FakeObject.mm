// The root class. Compiled without automatic reference counting, which is based on it.

#import <Foundation/Foundation.h>

#include <objc/objc-arc.h>

// NOLINTBEGIN
extern "C" id objc_retain_fast_np(id object);
extern "C" void objc_release_fast_np(id object);

@interface NSObject (Counting)
- (id)retain;
- (oneway void)release;
- (id)autorelease;
@end

@implementation NSObject
+ (instancetype)alloc
{
    return class_createInstance(self, 0);
}
+ (Class)class
{
    return self;
}
- (instancetype)init
{
    return self;
}
- (void)dealloc
{
    object_dispose(self);
}
// With this method, the runtime counts references itself.
- (void)_ARCCompliantRetainRelease
{
}
- (id)retain
{
    return objc_retain_fast_np(self);
}
- (oneway void)release
{
    objc_release_fast_np(self);
}
- (id)autorelease
{
    return objc_autorelease(self);
}
- (Class)class
{
    return object_getClass(self);
}
- (BOOL)isEqual:(id)other
{
    return self == other;
}
- (BOOL)respondsToSelector:(SEL)selector
{
    return class_respondsToSelector(object_getClass(self), selector);
}
- (id)performSelector:(SEL)selector withObject:(id)object
{
    IMP method = class_getMethodImplementation(object_getClass(self), selector);
    reinterpret_cast<void (*)(id, SEL, id)>(method)(self, selector, object);
    return nil;
}
- (void)addObserver:(NSObject *)observer
         forKeyPath:(NSString *)keyPath
            options:(NSUInteger)options
            context:(void *)context
{
}
- (void)observeValueForKeyPath:(NSString *)keyPath
                      ofObject:(id)object
                        change:(id)change
                       context:(void *)context
{
}
@end

/// An over-release, as a seeded fault.
extern "C" void releaseOnceMore(void *object)
{
    [reinterpret_cast<id>(object) release];
}
// NOLINTEND
