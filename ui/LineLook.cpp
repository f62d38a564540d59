#include "ui/LineLook.h"

namespace {
using Kind = LogEntry::Kind;

Tone::Value toneOfText(const LogEntry &entry)
{
    if (entry.kind == Kind::success)
        return Tone::Primary;
    if (entry.kind == Kind::failure)
        return Tone::Red;
    return entry.running ? Tone::Primary : Tone::Secondary;
}
} // namespace

LineLook LineLook::of(const LogEntry &entry)
{
    const Tone::Value text = toneOfText(entry);
    if (entry.running)
        return {.symbol = {}, .symbolTone = Tone::Secondary, .textTone = text};
    switch (entry.kind) {
    case Kind::step:
        return {QStringLiteral("checkmark"), Tone::Secondary, text};
    case Kind::success:
        return {QStringLiteral("checkmark.circle.fill"), Tone::Green, text};
    case Kind::failure:
        return {QStringLiteral("xmark.circle.fill"), Tone::Red, text};
    case Kind::info:
        return {QStringLiteral("info.circle"), Tone::Secondary, text};
    case Kind::confirm:
        return {QStringLiteral("hand.raised.fill"), Tone::Orange, text};
    }
    Q_UNREACHABLE();
}
