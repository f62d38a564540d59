#include "FakeCoreFoundation.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {
enum class Type : CFTypeID { string = 7, dictionary = 18, array = 19, boolean = 21, number = 22 };

struct Object
{
    Type type;
    int references = 1;
    QString text{};
    double number = 0;
    QList<CFTypeRef> items{};
    QList<std::pair<CFStringRef, CFTypeRef>> members{};
};

int living = 0;

Object &object(CFTypeRef reference)
{
    auto &found = *const_cast<Object *>(static_cast<const Object *>(reference));
    if (found.references < 1)
        std::abort();
    return found;
}

Object &object(CFTypeRef reference, Type type)
{
    Object &found = object(reference);
    if (found.type != type)
        std::abort();
    return found;
}

CFTypeRef made(Object &&object)
{
    ++living;
    return new Object(std::move(object));
}

CFStringRef constantKey(const char *name)
{
    return static_cast<CFStringRef>(
        static_cast<CFTypeRef>(new Object{.type = Type::string, .text = QString::fromUtf8(name)}));
}
} // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = static_cast<CFBooleanRef>(
    static_cast<CFTypeRef>(new Object{.type = Type::boolean, .number = 1}));
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};
CFStringRef kAXTrustedCheckOptionPrompt = constantKey("AXTrustedCheckOptionPrompt");
const CFStringRef kCGWindowLayer = constantKey("kCGWindowLayer");
const CFStringRef kCGWindowOwnerPID = constantKey("kCGWindowOwnerPID");
const CFStringRef kCGWindowOwnerName = constantKey("kCGWindowOwnerName");
const CFStringRef kCGWindowName = constantKey("kCGWindowName");

bool FakeCoreFoundation::trusted = true;
int FakeCoreFoundation::trustPrompts = 0;
std::function<CFTypeRef(CGWindowListOption, CGWindowID)> FakeCoreFoundation::windowList;

CFTypeRef FakeCoreFoundation::makeString(const QString &text)
{
    return made({.type = Type::string, .text = text});
}

CFTypeRef FakeCoreFoundation::makeNumber(qint64 number)
{
    return made({.type = Type::number, .number = static_cast<double>(number)});
}

CFTypeRef FakeCoreFoundation::makeFraction(double number)
{
    return made({.type = Type::number, .number = number});
}

CFTypeRef FakeCoreFoundation::makeArray(const QList<CFTypeRef> &items)
{
    return made({.type = Type::array, .items = items});
}

CFTypeRef
FakeCoreFoundation::makeDictionary(const QList<std::pair<CFStringRef, CFTypeRef>> &members)
{
    return made({.type = Type::dictionary, .members = members});
}

int FakeCoreFoundation::livingObjects()
{
    return living;
}

void CFRelease(CFTypeRef reference)
{
    if (!reference)
        std::abort();
    Object &found = object(reference);
    if (--found.references > 0)
        return;
    for (const CFTypeRef item : std::as_const(found.items))
        CFRelease(item);
    for (const auto &[key, value] : std::as_const(found.members))
        CFRelease(value);
    --living;
    delete &found;
}

CFTypeID CFGetTypeID(CFTypeRef reference)
{
    return static_cast<CFTypeID>(object(reference).type);
}

CFTypeID CFNumberGetTypeID()
{
    return static_cast<CFTypeID>(Type::number);
}

CFTypeID CFStringGetTypeID()
{
    return static_cast<CFTypeID>(Type::string);
}

CFTypeID CFDictionaryGetTypeID()
{
    return static_cast<CFTypeID>(Type::dictionary);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void *value)
{
    if (type != kCFNumberSInt64Type)
        std::abort();
    const double held = object(number, Type::number).number;
    // It stores what it can and says whether that is all.
    const auto whole = static_cast<qint64>(held);
    std::memcpy(value, &whole, sizeof whole);
    return std::trunc(held) == held ? 1 : 0;
}

CFIndex CFStringGetLength(CFStringRef string)
{
    return object(string, Type::string).text.size();
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar *buffer)
{
    const QString &text = object(string, Type::string).text;
    if (range.location < 0 || range.length < 0 || range.location + range.length > text.size())
        std::abort();
    std::memcpy(buffer, text.utf16() + range.location,
                static_cast<size_t>(range.length) * sizeof(UniChar));
}

CFIndex CFArrayGetCount(CFArrayRef array)
{
    return object(array, Type::array).items.size();
}

const void *CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
{
    const QList<CFTypeRef> &items = object(array, Type::array).items;
    if (index < 0 || index >= items.size())
        std::abort();
    return items[index];
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void **keys, const void **values,
                                   CFIndex count, const CFDictionaryKeyCallBacks *keyCallBacks,
                                   const CFDictionaryValueCallBacks *valueCallBacks)
{
    // Without these the members would not be counted.
    if (allocator != kCFAllocatorDefault || keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
        valueCallBacks != &kCFTypeDictionaryValueCallBacks)
        std::abort();
    QList<std::pair<CFStringRef, CFTypeRef>> members;
    for (CFIndex i = 0; i < count; ++i) {
        ++object(values[i]).references;
        members.append({static_cast<CFStringRef>(keys[i]), values[i]});
    }
    return static_cast<CFDictionaryRef>(FakeCoreFoundation::makeDictionary(members));
}

const void *CFDictionaryGetValue(CFDictionaryRef dictionary, const void *key)
{
    for (const auto &[name, value] : std::as_const(object(dictionary, Type::dictionary).members)) {
        if (name == key)
            return value;
    }
    return nullptr;
}

Boolean AXIsProcessTrusted()
{
    return FakeCoreFoundation::trusted;
}

Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options)
{
    const CFTypeRef prompt = CFDictionaryGetValue(options, kAXTrustedCheckOptionPrompt);
    if (prompt && object(prompt, Type::boolean).number != 0)
        ++FakeCoreFoundation::trustPrompts;
    return FakeCoreFoundation::trusted;
}

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window)
{
    return static_cast<CFArrayRef>(FakeCoreFoundation::windowList(option, window));
}
