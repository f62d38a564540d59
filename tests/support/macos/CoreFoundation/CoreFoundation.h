#pragma once

// The parts of CoreFoundation that our code uses, declared as in the system's header and
// implemented in FakeCoreFoundation.cpp.

#include <cstdint>

// NOLINTBEGIN
using CFTypeRef = const void *;
using CFTypeID = unsigned long;
using CFIndex = long;
using CFNumberType = CFIndex;
using Boolean = unsigned char;
using UniChar = uint16_t;
using CFStringRef = const struct __CFString *;
using CFNumberRef = const struct __CFNumber *;
using CFArrayRef = const struct __CFArray *;
using CFDictionaryRef = const struct __CFDictionary *;
using CFBooleanRef = const struct __CFBoolean *;
using CFAllocatorRef = const struct __CFAllocator *;

struct CFRange
{
    CFIndex location;
    CFIndex length;
};

inline CFRange CFRangeMake(CFIndex location, CFIndex length)
{
    return {location, length};
}

constexpr CFNumberType kCFNumberSInt64Type = 4;

struct CFArrayCallBacks
{
    CFIndex version;
};

struct CFDictionaryKeyCallBacks
{
    CFIndex version;
};

struct CFDictionaryValueCallBacks
{
    CFIndex version;
};

#define CFSTR(text) __CFStringMakeConstantString(text)

extern "C" {
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CFStringRef __CFStringMakeConstantString(const char *text);
CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFArrayGetTypeID();
CFTypeID CFNumberGetTypeID();
CFTypeID CFStringGetTypeID();
CFTypeID CFDictionaryGetTypeID();
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void *value);
CFIndex CFStringGetLength(CFStringRef string);
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar *buffer);
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void **items, CFIndex count,
                         const CFArrayCallBacks *callBacks);
CFIndex CFArrayGetCount(CFArrayRef array);
const void *CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void **keys, const void **values,
                                   CFIndex count, const CFDictionaryKeyCallBacks *keyCallBacks,
                                   const CFDictionaryValueCallBacks *valueCallBacks);
const void *CFDictionaryGetValue(CFDictionaryRef dictionary, const void *key);
}
// NOLINTEND
