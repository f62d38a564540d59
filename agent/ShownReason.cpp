#include "agent/ShownReason.h"

#include "base/ShownText.h"

QString shownReason(const PendingConfirmation &pending)
{
    using enum ShownText::LineEnds;
    return ShownText::question(pending.reason,
                               pending.action.name == u"applescript" ? kept : shown);
}
