#pragma once

#include <QString>

#import <Foundation/Foundation.h>

// Not Qt's own conversions, which do not exist in the builds that test these files without a Mac.

/// The text as a QString. nil becomes an empty text.
[[nodiscard]] inline QString fromCocoa(NSString *text)
{
    QString result(static_cast<qsizetype>(text.length), Qt::Uninitialized);
    [text getCharacters:reinterpret_cast<unichar *>(result.data())
                  range:NSMakeRange(0, text.length)];
    return result;
}

/// The text as an NSString.
[[nodiscard]] inline NSString *toCocoa(const QString &text)
{
    return [NSString stringWithCharacters:reinterpret_cast<const unichar *>(text.utf16())
                                   length:static_cast<NSUInteger>(text.size())];
}
