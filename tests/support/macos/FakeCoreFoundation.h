#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

/// Fake CoreFoundation objects, which count their references. An over-release, a use after the last
/// release and an argument of a wrong type abort the program, and objects that were never released
/// are counted. The caller owns the results of the make functions; a container takes over the
/// caller's references.
namespace FakeCoreFoundation {
[[nodiscard]] CFTypeRef makeString(const QString &text);
[[nodiscard]] CFTypeRef makeNumber(qint64 number);
[[nodiscard]] CFTypeRef makeFraction(double number); ///< A number that is not an integer.
[[nodiscard]] CFTypeRef makeNull();                  ///< The placeholder in arrays.
[[nodiscard]] CFTypeRef makeArray(const QList<CFTypeRef> &items);
[[nodiscard]] CFTypeRef makeDictionary(const QList<std::pair<CFStringRef, CFTypeRef>> &members);

/// The number of objects, without the constant keys.
[[nodiscard]] int livingObjects();

/// An accessible element with a number of the test's choice; an application's number is its process
/// id. The second one is the system's placeholder for an error in a list of values.
[[nodiscard]] CFTypeRef makeElement(qint64 number);
[[nodiscard]] CFTypeRef makeAttributeError();

/// Callbacks: the process of an element, the values of its attributes (owned by the caller, at most
/// one for each name), and its actions.
extern std::function<pid_t(qint64 element)> processOf;
extern std::function<AXError(qint64 element, const QStringList &names, QList<CFTypeRef> &values)>
    attributeValues;
extern std::function<AXError(qint64 element, const QString &action)> performAction;
/// Called to set an element's attribute; by default, elements have no settable attributes.
extern std::function<AXError(qint64 element, const QString &name)> switchOn;
/// The default timeout of elements.
extern float messagingTimeout;

/// Whether the user grants the accessibility permission, and how often it was requested.
extern bool trusted;
extern int trustPrompts;

/// Whether the user permits capturing the screen.
extern bool mayCaptureScreen;
extern int capturePrompts;    ///< Number of requests for that permission.
extern bool permitsOnceAsked; ///< Whether a request grants it at once.

/// A posted key event.
struct PostedKey
{
    uint32_t tap;
    int32_t sourceState; ///< The state of its event source; -1 without one.
    uint16_t code;
    bool isDown;
    uint64_t flags;
    QString text;

    bool operator==(const PostedKey &) const = default;
};

/// The posted events, oldest first, and whether events can be created.
extern QList<PostedKey> postedKeys;
extern bool makesKeyEvents;

/// Called by CGWindowListCopyWindowInfo.
extern std::function<CFTypeRef(CGWindowListOption option, CGWindowID window)> windowList;
} // namespace FakeCoreFoundation
