#include "ui/LogEntryStyle.h"

using namespace Qt::StringLiterals;

namespace {
using Kind = LogEntry::Kind;

ColorRole::Value roleOfText(const LogEntry &entry)
{
    if (entry.kind == Kind::success)
        return ColorRole::Primary;
    if (entry.kind == Kind::failure)
        return ColorRole::Red;
    return entry.running ? ColorRole::Primary : ColorRole::Secondary;
}
} // namespace

LogEntryStyle LogEntryStyle::of(const LogEntry &entry)
{
    const ColorRole::Value text = roleOfText(entry);
    if (entry.running)
        return {{}, ColorRole::Secondary, text, u"In progress"_s};
    switch (entry.kind) {
    case Kind::step:
        return {u"checkmark"_s, ColorRole::Secondary, text, u"Done"_s};
    case Kind::success:
        return {u"checkmark.circle.fill"_s, ColorRole::Green, text, u"Finished"_s};
    case Kind::failure:
        return {u"xmark.circle.fill"_s, ColorRole::Red, text, u"Failed"_s};
    case Kind::info:
        return {u"info.circle"_s, ColorRole::Secondary, text, u"Note"_s};
    case Kind::confirm:
        return {u"hand.raised.fill"_s, ColorRole::Orange, text, u"Needs approval"_s};
    }
    Q_UNREACHABLE();
}
