#include "platform/macos/MacScripts.h"

#import <Foundation/Foundation.h>

namespace {
std::optional<QString> text(NSString *string)
{
    return string ? std::optional(QString::fromUtf8(string.UTF8String)) : std::nullopt;
}
} // namespace

ScriptOutcome MacScripts::run(const QString &source)
{
    NSString *const characters =
        [NSString stringWithCharacters:reinterpret_cast<const unichar *>(source.utf16())
                                length:static_cast<NSUInteger>(source.size())];
    NSAppleScript *const script = [[NSAppleScript alloc] initWithSource:characters];
    if (!script)
        return NoScript{};
    NSDictionary<NSString *, id> *error = nil;
    NSAppleEventDescriptor *const result = [script executeAndReturnError:&error];
    if (error)
        return ScriptError{text(error[NSAppleScriptErrorMessage])};
    return ScriptResult{text(result.stringValue)};
}
