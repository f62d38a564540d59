#include "FakeCoreFoundation.h"

#include <QHash>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {
enum class Type : CFTypeID {
    string = 7,
    null = 16,
    dictionary = 18,
    array = 19,
    boolean = 21,
    number = 22,
    event = 40,
    eventSource = 41,
    element = 250,
    attributeError = 251,
};

struct Object
{
    Type type;
    int references = 1;
    QString text{};
    double number = 0;
    QList<CFTypeRef> items{};
    QList<std::pair<CFStringRef, CFTypeRef>> members{};
    FakeCoreFoundation::PostedKey key{};
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

// The element number of the system-wide element.
constexpr qint64 everything = -1;

CFStringRef constantKey(const char *name)
{
    return reinterpret_cast<CFStringRef>(
        new Object{.type = Type::string, .text = QString::fromUtf8(name)});
}
} // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue =
    reinterpret_cast<CFBooleanRef>(new Object{.type = Type::boolean, .number = 1});
const CFArrayCallBacks kCFTypeArrayCallBacks{};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};
CFStringRef kAXTrustedCheckOptionPrompt = constantKey("AXTrustedCheckOptionPrompt");
const CFStringRef kCGWindowLayer = constantKey("kCGWindowLayer");
const CFStringRef kCGWindowOwnerPID = constantKey("kCGWindowOwnerPID");
const CFStringRef kCGWindowOwnerName = constantKey("kCGWindowOwnerName");
const CFStringRef kCGWindowName = constantKey("kCGWindowName");

bool FakeCoreFoundation::trusted = true;
bool FakeCoreFoundation::mayCaptureScreen = true;
int FakeCoreFoundation::capturePrompts = 0;
bool FakeCoreFoundation::permitsOnceAsked = false;
int FakeCoreFoundation::trustPrompts = 0;
std::function<pid_t(qint64)> FakeCoreFoundation::processOf;
std::function<AXError(qint64, const QStringList &, QList<CFTypeRef> &)>
    FakeCoreFoundation::attributeValues;
std::function<AXError(qint64, const QString &)> FakeCoreFoundation::performAction;
std::function<AXError(qint64, const QString &)> FakeCoreFoundation::switchOn;
float FakeCoreFoundation::messagingTimeout = 0;
QList<FakeCoreFoundation::PostedKey> FakeCoreFoundation::postedKeys;
bool FakeCoreFoundation::makesKeyEvents = true;
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

CFTypeRef FakeCoreFoundation::makeNull()
{
    return made({.type = Type::null});
}

CFTypeRef FakeCoreFoundation::makeElement(qint64 number)
{
    return made({.type = Type::element, .number = static_cast<double>(number)});
}

CFTypeRef FakeCoreFoundation::makeAttributeError()
{
    return made({.type = Type::attributeError});
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

CFStringRef __CFStringMakeConstantString(const char *text)
{
    // Never destroyed, like constants.
    static auto &constants = *new QHash<QByteArray, CFStringRef>;
    CFStringRef &constant = constants[text];
    if (!constant)
        constant = constantKey(text);
    return constant;
}

CFTypeRef CFRetain(CFTypeRef reference)
{
    ++object(reference).references;
    return reference;
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

CFTypeID CFArrayGetTypeID()
{
    return static_cast<CFTypeID>(Type::array);
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
    // Converts the number and returns whether that is exact.
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

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void **items, CFIndex count,
                         const CFArrayCallBacks *callBacks)
{
    // Without these, the references of items would not be counted.
    if (allocator != kCFAllocatorDefault || callBacks != &kCFTypeArrayCallBacks)
        std::abort();
    QList<CFTypeRef> own;
    for (CFIndex i = 0; i < count; ++i)
        own.append(CFRetain(items[i]));
    return static_cast<CFArrayRef>(FakeCoreFoundation::makeArray(own));
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
    // Without these, the references of members would not be counted.
    if (allocator != kCFAllocatorDefault || keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
        valueCallBacks != &kCFTypeDictionaryValueCallBacks)
        std::abort();
    QList<std::pair<CFStringRef, CFTypeRef>> members;
    for (CFIndex i = 0; i < count; ++i) {
        members.append({static_cast<CFStringRef>(keys[i]), CFRetain(values[i])});
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

namespace {
qint64 numberOf(AXUIElementRef element)
{
    return static_cast<qint64>(object(element, Type::element).number);
}
} // namespace

CFTypeID AXUIElementGetTypeID()
{
    return static_cast<CFTypeID>(Type::element);
}

AXUIElementRef AXUIElementCreateSystemWide()
{
    return static_cast<AXUIElementRef>(FakeCoreFoundation::makeElement(everything));
}

AXUIElementRef AXUIElementCreateApplication(pid_t process)
{
    return static_cast<AXUIElementRef>(FakeCoreFoundation::makeElement(process));
}

AXError AXUIElementGetPid(AXUIElementRef element, pid_t *process)
{
    *process = FakeCoreFoundation::processOf(numberOf(element));
    return kAXErrorSuccess;
}

AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds)
{
    if (numberOf(element) == everything)
        FakeCoreFoundation::messagingTimeout = seconds;
    return kAXErrorSuccess;
}

AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef *value)
{
    QList<CFTypeRef> values;
    const AXError error = FakeCoreFoundation::attributeValues(
        numberOf(element), {object(attribute, Type::string).text}, values);
    if (values.size() > 1)
        std::abort();
    if (!values.isEmpty())
        *value = values.constFirst();
    return error;
}

AXError AXUIElementCopyMultipleAttributeValues(AXUIElementRef element, CFArrayRef attributes,
                                               AXCopyMultipleAttributeOptions options,
                                               CFArrayRef *values)
{
    // A missing attribute must not hide the others.
    if (options != 0)
        std::abort();
    QStringList names;
    for (const CFTypeRef name : std::as_const(object(attributes, Type::array).items))
        names.append(object(name, Type::string).text);
    QList<CFTypeRef> made;
    const AXError error = FakeCoreFoundation::attributeValues(numberOf(element), names, made);
    if (error == kAXErrorSuccess)
        *values = static_cast<CFArrayRef>(FakeCoreFoundation::makeArray(made));
    else if (!made.isEmpty())
        std::abort();
    return error;
}

AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value)
{
    if (object(value, Type::boolean).number == 0)
        std::abort();
    const QString &name = object(attribute, Type::string).text;
    return FakeCoreFoundation::switchOn ? FakeCoreFoundation::switchOn(numberOf(element), name)
                                        : kAXErrorAttributeUnsupported;
}

AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action)
{
    return FakeCoreFoundation::performAction(numberOf(element), object(action, Type::string).text);
}

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state)
{
    return static_cast<CGEventSourceRef>(const_cast<void *>(
        made({.type = Type::eventSource, .number = static_cast<double>(state)})));
}

CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode code, bool isDown)
{
    if (!FakeCoreFoundation::makesKeyEvents)
        return nullptr;
    const int32_t state =
        source ? static_cast<int32_t>(object(source, Type::eventSource).number) : -1;
    return static_cast<CGEventRef>(
        const_cast<void *>(made({.type = Type::event,
                                 .key = {.tap = 0,
                                         .sourceState = state,
                                         .code = code,
                                         .isDown = isDown,
                                         .flags = 0x100, // held by the user
                                         .text = {}}})));
}

void CGEventKeyboardSetUnicodeString(CGEventRef event, UniCharCount length, const UniChar *text)
{
    object(event, Type::event).key.text = QString::fromUtf16(
        reinterpret_cast<const char16_t *>(text), static_cast<qsizetype>(length));
}

void CGEventSetFlags(CGEventRef event, CGEventFlags flags)
{
    object(event, Type::event).key.flags = flags;
}

void CGEventPost(CGEventTapLocation tap, CGEventRef event)
{
    FakeCoreFoundation::PostedKey key = object(event, Type::event).key;
    key.tap = tap;
    FakeCoreFoundation::postedKeys.append(key);
}

bool CGPreflightScreenCaptureAccess()
{
    return FakeCoreFoundation::mayCaptureScreen;
}

bool CGRequestScreenCaptureAccess()
{
    ++FakeCoreFoundation::capturePrompts;
    return FakeCoreFoundation::permitsOnceAsked;
}

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window)
{
    return static_cast<CFArrayRef>(FakeCoreFoundation::windowList(option, window));
}
