#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <QList>
#include <QString>

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
[[nodiscard]] CFTypeRef makeArray(const QList<CFTypeRef> &items);
[[nodiscard]] CFTypeRef makeDictionary(const QList<std::pair<CFStringRef, CFTypeRef>> &members);

/// How many objects there are, apart from the constant keys.
[[nodiscard]] int livingObjects();

/// Whether the user trusts us with accessibility, and how often they were asked.
extern bool trusted;
extern int trustPrompts;

/// Who makes the answers of CGWindowListCopyWindowInfo.
extern std::function<CFTypeRef(CGWindowListOption option, CGWindowID window)> windowList;
} // namespace FakeCoreFoundation
