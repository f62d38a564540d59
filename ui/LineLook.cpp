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
        return {{}, Tone::Secondary, text, QStringLiteral("In progress")};
    switch (entry.kind) {
    case Kind::step:
        return {QStringLiteral("checkmark"), Tone::Secondary, text, QStringLiteral("Done")};
    case Kind::success:
        return {QStringLiteral("checkmark.circle.fill"), Tone::Green, text,
                QStringLiteral("Finished")};
    case Kind::failure:
        return {QStringLiteral("xmark.circle.fill"), Tone::Red, text, QStringLiteral("Failed")};
    case Kind::info:
        return {QStringLiteral("info.circle"), Tone::Secondary, text, QStringLiteral("Note")};
    case Kind::confirm:
        return {QStringLiteral("hand.raised.fill"), Tone::Orange, text,
                QStringLiteral("Needs approval")};
    }
    Q_UNREACHABLE();
}
