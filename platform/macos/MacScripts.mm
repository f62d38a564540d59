#include "platform/macos/MacScripts.h"

#include "platform/macos/CocoaText.h"

#import <Foundation/Foundation.h>

namespace {
std::optional<QString> text(NSString *string)
{
    return string ? std::optional(fromCocoa(string)) : std::nullopt;
}
} // namespace

ScriptOutcome MacScripts::run(const QString &source)
{
    NSAppleScript *const script = [[NSAppleScript alloc] initWithSource:toCocoa(source)];
    if (!script)
        return NoScript{};
    NSDictionary<NSString *, id> *error = nil;
    NSAppleEventDescriptor *const result = [script executeAndReturnError:&error];
    if (error)
        return ScriptError{text(error[NSAppleScriptErrorMessage])};
    return ScriptResult{text(result.stringValue)};
}
