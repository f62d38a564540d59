#pragma once

// The parts of Foundation that our code uses, implemented in FakeFoundation.mm. Written from the
// documentation in the system's headers.

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <objc/objc.h>
#include <objc/runtime.h>

#include <cstdint>
#include <string>
#include <vector>

// NOLINTBEGIN
using NSInteger = long;
using NSUInteger = unsigned long;
using unichar = unsigned short;
using NSTimeInterval = double;

struct NSRange
{
    NSUInteger location;
    NSUInteger length;
};
inline NSRange NSMakeRange(NSUInteger location, NSUInteger length)
{
    return {location, length};
}
struct NSFastEnumerationState
{
    unsigned long state;
    id __unsafe_unretained *itemsPtr;
    unsigned long *mutationsPtr;
    unsigned long extra[5];
};

@class NSString;

@protocol NSObject
- (Class)class;
- (BOOL)isEqual:(id)other;
- (BOOL)respondsToSelector:(SEL)selector;
- (id)performSelector:(SEL)selector withObject:(id)object;
@end

@interface NSObject <NSObject> {
    Class isa;
}
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
- (void)dealloc;
- (void)addObserver:(NSObject *)observer
         forKeyPath:(NSString *)keyPath
            options:(NSUInteger)options
            context:(void *)context;
- (void)observeValueForKeyPath:(NSString *)keyPath
                      ofObject:(id)object
                        change:(id)change
                       context:(void *)context;
@end

@interface NSString : NSObject
+ (instancetype)stringWithCharacters:(const unichar *)characters length:(NSUInteger)length;
+ (instancetype)stringWithFormat:(NSString *)format, ...;
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
- (void)getCharacters:(unichar *)buffer range:(NSRange)range;
- (BOOL)isEqualToString:(NSString *)other;
- (NSString *)stringByAppendingString:(NSString *)other;
@end

@interface NSConstantString : NSString {
    uint32_t _flags;
    uint32_t _length;
    uint32_t _size;
    uint32_t _hash;
    const char *_data;
}
@end

@interface NSArray<__covariant ObjectType> : NSObject {
@public
    std::vector<id> _items;
}
+ (instancetype)arrayWithObjects:(const id __unsafe_unretained[])objects count:(NSUInteger)count;
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState *)state
                                  objects:(id __unsafe_unretained *)buffer
                                    count:(NSUInteger)length;
@end
@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
- (void)addObject:(ObjectType)object;
@end

@interface NSNumber : NSObject
+ (instancetype)numberWithInteger:(NSInteger)number;
@property(readonly) NSInteger integerValue;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject {
@public
    std::vector<std::pair<NSString *, id>> _members;
}
+ (instancetype)dictionaryWithObjects:(const id __unsafe_unretained[])objects
                              forKeys:(const id __unsafe_unretained[])keys
                                count:(NSUInteger)count;
- (ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

@interface NSData : NSObject {
@public
    std::string _bytes;
}
+ (instancetype)dataWithBytes:(const void *)bytes length:(NSUInteger)length;
@end

@interface NSURL : NSObject {
@public
    std::string _bytes;
    bool _isFile;
    bool _isFolder;
}
+ (instancetype)fileURLWithFileSystemRepresentation:(const char *)path
                                        isDirectory:(BOOL)isDirectory
                                      relativeToURL:(NSURL *)base;
+ (instancetype)URLWithDataRepresentation:(NSData *)data relativeToURL:(NSURL *)base;
@property(readonly) NSString *path;
@end

@interface NSError : NSObject {
@public
    NSString *_description;
}
@property(readonly) NSString *localizedDescription;
@end

@interface NSDate : NSObject {
    double _moment;
}
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds;
@property(readonly) NSTimeInterval timeIntervalSinceNow;
@end

extern NSString *const NSDefaultRunLoopMode;
@interface NSRunLoop : NSObject
@property(class, readonly) NSRunLoop *currentRunLoop;
- (BOOL)runMode:(NSString *)mode beforeDate:(NSDate *)date;
@end

@interface NSOperationQueue : NSObject
@property(class, readonly) NSOperationQueue *mainQueue;
@end

@interface NSProcessInfo : NSObject
@property(class, readonly) NSProcessInfo *processInfo;
@property(readonly) int processIdentifier;
@end

@interface NSBundle : NSObject
@property(class, readonly) NSBundle *mainBundle;
@property(readonly) NSString *bundleIdentifier;
@end

@interface NSNotification : NSObject {
@public
    NSString *_name;
    id _object;
}
@property(readonly) id object;
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly) NSNotificationCenter *defaultCenter;
- (void)addObserver:(id)observer selector:(SEL)selector name:(NSString *)name object:(id)object;
- (id)addObserverForName:(NSString *)name
                  object:(id)object
                   queue:(NSOperationQueue *)queue
              usingBlock:(void (^)(NSNotification *))block;
- (void)removeObserver:(id)observer;
@end
@interface NSDistributedNotificationCenter : NSNotificationCenter
@property(class, readonly) NSDistributedNotificationCenter *defaultCenter;
- (void)postNotificationName:(NSString *)name
                      object:(NSString *)object
                    userInfo:(NSDictionary *)userInfo
          deliverImmediately:(BOOL)immediately;
@end

@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager *defaultManager;
- (BOOL)trashItemAtURL:(NSURL *)url
      resultingItemURL:(NSURL *__autoreleasing *)result
                 error:(NSError *__autoreleasing *)error;
@end

extern NSString *const NSAppleScriptErrorMessage;
@interface NSAppleEventDescriptor : NSObject {
@public
    NSString *_text;
}
@property(readonly) NSString *stringValue;
@end
@interface NSAppleScript : NSObject {
    NSString *_source;
}
- (instancetype)initWithSource:(NSString *)source;
- (NSAppleEventDescriptor *)executeAndReturnError:
    (NSDictionary<NSString *, id> *__autoreleasing *)error;
@end
// NOLINTEND
