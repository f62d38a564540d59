#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

/// A stand-in for CoreFoundation's objects. Each counts its references; a release too many, a use
/// after the last release and an argument of another type abort the program, and what was never
/// released is counted. What the make functions return is owned by the caller; a container keeps
/// its own references and takes over the caller's.
namespace FakeCoreFoundation {
[[nodiscard]] CFTypeRef makeString(const QString &text);
[[nodiscard]] CFTypeRef makeNumber(qint64 number);
[[nodiscard]] CFTypeRef makeFraction(double number); ///< A number that is no whole one.
[[nodiscard]] CFTypeRef makeNull();                  ///< What stands in arrays for nothing.
[[nodiscard]] CFTypeRef makeArray(const QList<CFTypeRef> &items);
[[nodiscard]] CFTypeRef makeDictionary(const QList<std::pair<CFStringRef, CFTypeRef>> &members);

/// How many objects there are, apart from the constant keys.
[[nodiscard]] int livingObjects();

/// An accessible element under a number of the test's own; an application's is its process. What
/// the system calls an error's placeholder in a list of values.
[[nodiscard]] CFTypeRef makeElement(qint64 number);
[[nodiscard]] CFTypeRef makeAttributeError();

/// The process of an element, who makes the values of its attributes (taken over by the caller,
/// one for each name or less), and who performs its actions.
extern std::function<pid_t(qint64 element)> processOf;
extern std::function<AXError(qint64 element, const QStringList &names, QList<CFTypeRef> &values)>
    attributeValues;
extern std::function<AXError(qint64 element, const QString &action)> performAction;
/// Who switches an element's attribute on; nothing knows one unless this says otherwise.
extern std::function<AXError(qint64 element, const QString &name)> switchOn;
/// The time-out of the elements that have no other.
extern float messagingTimeout;

/// Whether the user trusts us with accessibility, and how often they were asked.
extern bool trusted;
extern int trustPrompts;

/// Whether the user lets us see the screen.
extern bool mayCaptureScreen;
extern int capturePrompts;    ///< How often they were asked for that,
extern bool permitsOnceAsked; ///< and whether they then allow it at once.

/// A key event as it was posted.
struct PostedKey
{
    uint32_t tap;
    int32_t sourceState; ///< Of the source that it was made with; -1 without one.
    uint16_t code;
    bool isDown;
    uint64_t flags;
    QString text;

    bool operator==(const PostedKey &) const = default;
};

/// What was posted, oldest first, and whether events can be made at all.
extern QList<PostedKey> postedKeys;
extern bool makesKeyEvents;

/// Who makes the answers of CGWindowListCopyWindowInfo.
extern std::function<CFTypeRef(CGWindowListOption option, CGWindowID window)> windowList;
} // namespace FakeCoreFoundation
