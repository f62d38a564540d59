#pragma once

#include <QString>

#import <Foundation/Foundation.h>

// Qt's own conversions are not there where these files are tried without a Mac.

/// A text as Qt has it. Nothing becomes the empty text.
[[nodiscard]] inline QString fromCocoa(NSString *text)
{
    QString result(static_cast<qsizetype>(text.length), Qt::Uninitialized);
    [text getCharacters:reinterpret_cast<unichar *>(result.data())
                  range:NSMakeRange(0, text.length)];
    return result;
}

/// A text as the system has it.
[[nodiscard]] inline NSString *toCocoa(const QString &text)
{
    return [NSString stringWithCharacters:reinterpret_cast<const unichar *>(text.utf16())
                                   length:static_cast<NSUInteger>(text.size())];
}
