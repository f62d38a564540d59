#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <QString>

#include <optional>

/// The text of a value, which is not owned; nothing if it is null or has another type.
[[nodiscard]] inline std::optional<QString> textOf(CFTypeRef value)
{
    if (!value || CFGetTypeID(value) != CFStringGetTypeID())
        return std::nullopt;
    const auto string = static_cast<CFStringRef>(value);
    const CFIndex length = CFStringGetLength(string);
    QString text(length, Qt::Uninitialized);
    CFStringGetCharacters(string, CFRangeMake(0, length), reinterpret_cast<UniChar *>(text.data()));
    return text;
}
