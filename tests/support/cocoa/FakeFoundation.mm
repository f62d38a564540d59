#include "FakeCocoa.h"

#include "FakeCocoaInternal.h"

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

// NOLINTBEGIN
QStringList FakeCocoa::calls;
QList<FakeCocoa::Distributed> FakeCocoa::posted;
std::optional<QString> FakeCocoa::failure;
std::optional<QString> FakeCocoa::ownBundle;
std::optional<QString> FakeCocoa::scriptText;
bool FakeCocoa::isNoScript = false;
bool FakeCocoa::answersNotifications = true;
bool FakeCocoa::skipsWaits = false;

struct dispatch_queue_s
{
};

namespace {
dispatch_queue_s s_mainQueue;
const std::thread::id s_mainThread = std::this_thread::get_id();
std::mutex s_mutex;
std::condition_variable s_work;
std::deque<std::function<void()>> s_queue;
std::deque<std::thread> s_threads;
double s_skipped = 0; ///< seconds by which the clock was advanced

struct Observer
{
    id token;
    id target;
    SEL selector;
    NSString *name;
    NSString *about;
    void (^block)(NSNotification *);
};
std::deque<Observer> &observers(NSNotificationCenter *)
{
    static std::deque<Observer> all;
    return all;
}

bool doNext()
{
    std::function<void()> work;
    {
        const std::lock_guard lock(s_mutex);
        if (s_queue.empty())
            return false;
        work = std::move(s_queue.front());
        s_queue.pop_front();
    }
    @autoreleasepool {
        work();
    }
    return true;
}
} // namespace

NSString *fakeText(const QString &text)
{
    return [NSString stringWithCharacters:reinterpret_cast<const unichar *>(text.utf16())
                                   length:static_cast<NSUInteger>(text.size())];
}

QString plainText(NSString *text)
{
    QString result;
    for (NSUInteger i = 0; i < text.length; ++i)
        result.append(QChar([text characterAtIndex:i]));
    return result;
}

void recordCall(const QString &call)
{
    FakeCocoa::calls.append(call);
}

void requireMainThread(const char *what)
{
    if (std::this_thread::get_id() == s_mainThread)
        return;
    std::fprintf(stderr, "AppKit is called on another thread than the main one: %s\n", what);
    std::abort();
}

void doOnMainQueue(std::function<void()> work)
{
    {
        const std::lock_guard lock(s_mutex);
        s_queue.push_back(std::move(work));
    }
    s_work.notify_all();
}

void doLateElsewhere(std::function<void()> work)
{
    s_threads.emplace_back([work = std::move(work)] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        @autoreleasepool {
            work();
        }
    });
}

void deliver(NSString *name, NSString *about)
{
    NSNotification *const notification = [[NSNotification alloc] init];
    notification->_name = name;
    notification->_object = about;
    // An observer may remove itself meanwhile.
    const std::deque<Observer> all = observers(nil);
    for (const Observer &each : all) {
        if (![each.name isEqualToString:name] ||
            (each.about && ![each.about isEqualToString:about]))
            continue;
        if (each.block)
            each.block(notification);
        else
            [each.target performSelector:each.selector withObject:notification];
    }
}

void FakeCocoa::turn()
{
    while (doNext()) {
    }
}

void FakeCocoa::receive(const QString &name, const QString &about)
{
    doOnMainQueue([=] { deliver(fakeText(name), fakeText(about)); });
}

void resetFoundation()
{
    for (std::thread &each : s_threads)
        each.join();
    s_threads.clear();
    FakeCocoa::turn();
    std::erase_if(observers(nil), [](const Observer &each) { return each.block != nil; });
    FakeCocoa::calls.clear();
    FakeCocoa::posted.clear();
    FakeCocoa::failure.reset();
    FakeCocoa::ownBundle.reset();
    FakeCocoa::scriptText.reset();
    FakeCocoa::isNoScript = false;
    FakeCocoa::answersNotifications = true;
    FakeCocoa::skipsWaits = false;
}

NSError *fakeError()
{
    if (!FakeCocoa::failure)
        return nil;
    NSError *const error = [[NSError alloc] init];
    error->_description = fakeText(*FakeCocoa::failure);
    return error;
}

extern "C" dispatch_queue_t dispatch_get_main_queue()
{
    return &s_mainQueue;
}

extern "C" void dispatch_async(dispatch_queue_t queue, dispatch_block_t block)
{
    if (queue != &s_mainQueue)
        std::abort();
    const dispatch_block_t kept = block; // copied as by the system
    doOnMainQueue([kept] { kept(); });
}

NSString *const NSDefaultRunLoopMode = @"kCFRunLoopDefaultMode";
NSString *const NSAppleScriptErrorMessage = @"NSAppleScriptErrorMessage";

@interface FakeText : NSString {
@public
    std::u16string _units;
}
@end
@implementation FakeText
- (NSUInteger)length
{
    return _units.size();
}
- (unichar)characterAtIndex:(NSUInteger)index
{
    return static_cast<unichar>(_units.at(index));
}
@end

@implementation NSString
+ (instancetype)stringWithCharacters:(const unichar *)characters length:(NSUInteger)length
{
    FakeText *const text = [[FakeText alloc] init];
    text->_units.assign(reinterpret_cast<const char16_t *>(characters), length);
    return text;
}
+ (instancetype)stringWithFormat:(NSString *)format, ...
{
    va_list arguments;
    va_start(arguments, format);
    const QString pattern = plainText(format);
    QString result;
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != u'%') {
            result.append(pattern[i]);
            continue;
        }
        ++i;
        if (pattern.at(i) == u'@')
            result.append(plainText(va_arg(arguments, NSString *)));
        else if (pattern.at(i) == u'd')
            result.append(QString::number(va_arg(arguments, int)));
        else
            std::abort();
    }
    va_end(arguments);
    return (id)fakeText(result);
}
- (NSUInteger)length
{
    std::abort();
}
- (unichar)characterAtIndex:(NSUInteger)index
{
    std::abort();
}
- (void)getCharacters:(unichar *)buffer range:(NSRange)range
{
    if (range.location + range.length > self.length)
        std::abort();
    for (NSUInteger i = 0; i < range.length; ++i)
        buffer[i] = [self characterAtIndex:range.location + i];
}
- (BOOL)isEqualToString:(NSString *)other
{
    return other && plainText(self) == plainText(other);
}
- (NSString *)stringByAppendingString:(NSString *)other
{
    return fakeText(plainText(self) + plainText(other));
}
@end

// The compiler's layout of literals: bytes, or UTF-16 units if the low bits of the flags are 2.
@implementation NSConstantString
- (NSUInteger)length
{
    return _length;
}
- (unichar)characterAtIndex:(NSUInteger)index
{
    if (index >= _length)
        std::abort();
    return (_flags & 3) == 2 ? reinterpret_cast<const unichar *>(_data)[index]
                             : static_cast<unichar>(_data[index]);
}
@end

// Literals of up to eight bytes are stored in the pointer itself.
@interface FakeTinyText : NSString
@end
@implementation FakeTinyText
+ (void)load
{
    objc_registerSmallObjectClass_np(self, 4);
}
- (NSUInteger)length
{
    return (reinterpret_cast<uintptr_t>((__bridge void *)self) >> 3) & 31;
}
- (unichar)characterAtIndex:(NSUInteger)index
{
    if (index >= self.length)
        std::abort();
    return (reinterpret_cast<uintptr_t>((__bridge void *)self) >> (57 - 7 * index)) & 127;
}
@end

@implementation NSArray
+ (instancetype)arrayWithObjects:(const id __unsafe_unretained[])objects count:(NSUInteger)count
{
    NSArray *const array = [[self alloc] init];
    for (NSUInteger i = 0; i < count; ++i) {
        if (!objects[i])
            std::abort(); // the system throws
        array->_items.push_back(objects[i]);
    }
    return array;
}
- (NSUInteger)count
{
    return _items.size();
}
- (id)objectAtIndexedSubscript:(NSUInteger)index
{
    return _items.at(index);
}
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState *)state
                                  objects:(id __unsafe_unretained *)buffer
                                    count:(NSUInteger)length
{
    NSUInteger count = 0;
    for (; count < length && state->state < _items.size(); ++state->state)
        buffer[count++] = _items[state->state];
    state->itemsPtr = buffer;
    state->mutationsPtr = &state->extra[0];
    return count;
}
@end
@implementation NSMutableArray
- (void)addObject:(id)object
{
    if (!object)
        std::abort();
    _items.push_back(object);
}
@end

@implementation NSNumber {
    NSInteger _value;
}
+ (instancetype)numberWithInteger:(NSInteger)number
{
    NSNumber *const result = [[NSNumber alloc] init];
    result->_value = number;
    return result;
}
- (NSInteger)integerValue
{
    return _value;
}
@end

@implementation NSDictionary
+ (instancetype)dictionaryWithObjects:(const id __unsafe_unretained[])objects
                              forKeys:(const id __unsafe_unretained[])keys
                                count:(NSUInteger)count
{
    NSDictionary *const result = [[NSDictionary alloc] init];
    for (NSUInteger i = 0; i < count; ++i)
        result->_members.emplace_back(keys[i], objects[i]);
    return result;
}
- (id)objectForKeyedSubscript:(NSString *)key
{
    for (const auto &[name, value] : _members) {
        if ([name isEqualToString:key])
            return value;
    }
    return nil;
}
@end

@implementation NSData
+ (instancetype)dataWithBytes:(const void *)bytes length:(NSUInteger)length
{
    NSData *const data = [[NSData alloc] init];
    data->_bytes.assign(static_cast<const char *>(bytes), length);
    return data;
}
@end

@implementation NSURL
+ (instancetype)fileURLWithFileSystemRepresentation:(const char *)path
                                        isDirectory:(BOOL)isDirectory
                                      relativeToURL:(NSURL *)base
{
    NSURL *const url = [[NSURL alloc] init];
    url->_bytes = path;
    url->_isFile = true;
    url->_isFolder = isDirectory;
    return url;
}
+ (instancetype)URLWithDataRepresentation:(NSData *)data relativeToURL:(NSURL *)base
{
    NSURL *const url = [[NSURL alloc] init];
    url->_bytes = data->_bytes;
    return url;
}
- (NSString *)path
{
    return fakeText(QString::fromUtf8(_bytes.c_str()));
}
@end

@implementation NSError
- (NSString *)localizedDescription
{
    return _description;
}
@end

namespace {
double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
               .count() +
           s_skipped;
}
} // namespace
@implementation NSDate
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds
{
    NSDate *const date = [[NSDate alloc] init];
    date->_moment = now() + seconds;
    return date;
}
- (NSTimeInterval)timeIntervalSinceNow
{
    return _moment - now();
}
@end

@implementation NSRunLoop
+ (NSRunLoop *)currentRunLoop
{
    static NSRunLoop *const loop = [[NSRunLoop alloc] init];
    return loop;
}
// Returns after processing one event, like the system's.
- (BOOL)runMode:(NSString *)mode beforeDate:(NSDate *)date
{
    if (![mode isEqualToString:NSDefaultRunLoopMode])
        std::abort();
    if (!doNext()) {
        std::unique_lock lock(s_mutex);
        const double wait = date.timeIntervalSinceNow;
        if (FakeCocoa::skipsWaits)
            s_skipped += wait;
        else
            s_work.wait_for(lock, std::chrono::duration<double>(wait),
                            [] { return !s_queue.empty(); });
        lock.unlock();
        doNext();
    }
    return YES;
}
@end

@implementation NSOperationQueue
+ (NSOperationQueue *)mainQueue
{
    static NSOperationQueue *const queue = [[NSOperationQueue alloc] init];
    return queue;
}
@end

@implementation NSProcessInfo
+ (NSProcessInfo *)processInfo
{
    static NSProcessInfo *const info = [[NSProcessInfo alloc] init];
    return info;
}
- (int)processIdentifier
{
    return getpid();
}
@end

@implementation NSBundle
+ (NSBundle *)mainBundle
{
    static NSBundle *const bundle = [[NSBundle alloc] init];
    return bundle;
}
- (NSString *)bundleIdentifier
{
    return FakeCocoa::ownBundle ? fakeText(*FakeCocoa::ownBundle) : nil;
}
@end

@implementation NSNotification
- (id)object
{
    return _object;
}
@end

@implementation NSNotificationCenter
+ (NSNotificationCenter *)defaultCenter
{
    static NSNotificationCenter *const center = [[self alloc] init];
    return center;
}
// Does not retain the observer.
- (void)addObserver:(id)observer selector:(SEL)selector name:(NSString *)name object:(id)object
{
    observers(self).push_back({nil, observer, selector, name, object, nil});
}
- (id)addObserverForName:(NSString *)name
                  object:(id)object
                   queue:(NSOperationQueue *)queue
              usingBlock:(void (^)(NSNotification *))block
{
    const id token = [[NSObject alloc] init];
    observers(self).push_back({token, nil, nullptr, name, object, block});
    return token;
}
- (void)removeObserver:(id)observer
{
    std::erase_if(observers(self), [=](const Observer &each) { return each.token == observer; });
}
@end
@implementation NSDistributedNotificationCenter
+ (NSDistributedNotificationCenter *)defaultCenter
{
    static NSDistributedNotificationCenter *const center = [[self alloc] init];
    return center;
}
- (void)postNotificationName:(NSString *)name
                      object:(NSString *)object
                    userInfo:(NSDictionary *)userInfo
          deliverImmediately:(BOOL)immediately
{
    FakeCocoa::posted.append({plainText(name), plainText(object)});
    if (!immediately || userInfo)
        std::abort(); // would be delayed while the other program is not active
    // The other process answers a request after a delay.
    if (FakeCocoa::answersNotifications && plainText(name).contains(u".request."_s)) {
        const QString about = plainText(object);
        doLateElsewhere([about] { FakeCocoa::receive(u"app.quillon.Quillon.answer"_s, about); });
    }
}
@end

@implementation NSFileManager
+ (NSFileManager *)defaultManager
{
    static NSFileManager *const manager = [[NSFileManager alloc] init];
    return manager;
}
- (BOOL)trashItemAtURL:(NSURL *)url
      resultingItemURL:(NSURL *__autoreleasing *)result
                 error:(NSError *__autoreleasing *)error
{
    recordCall(u"trash "_s + describeUrl(url));
    if (error)
        *error = fakeError();
    return !FakeCocoa::failure;
}
@end

@implementation NSAppleEventDescriptor
- (NSString *)stringValue
{
    return _text;
}
@end
@implementation NSAppleScript
- (instancetype)initWithSource:(NSString *)source
{
    if (FakeCocoa::isNoScript)
        return nil;
    self = [super init];
    _source = source;
    return self;
}
- (NSAppleEventDescriptor *)executeAndReturnError:
    (NSDictionary<NSString *, id> *__autoreleasing *)error
{
    requireMainThread("NSAppleScript");
    recordCall(u"run "_s + plainText(_source));
    if (FakeCocoa::failure) {
        NSDictionary *const details = [[NSDictionary alloc] init];
        // An error may have no message.
        if (!FakeCocoa::failure->isEmpty())
            details->_members.emplace_back(NSAppleScriptErrorMessage,
                                           fakeText(*FakeCocoa::failure));
        *error = details;
        return nil;
    }
    NSAppleEventDescriptor *const result = [[NSAppleEventDescriptor alloc] init];
    if (FakeCocoa::scriptText)
        result->_text = fakeText(*FakeCocoa::scriptText);
    return result;
}
@end
// NOLINTEND
