#include "platform/macos/MacKeyboard.h"

#include "base/Text.h"
#include "platform/Outcome.h"
#include "platform/macos/CFOwner.h"

#include <CoreGraphics/CoreGraphics.h>

namespace {
// What the system takes of an event's text; it drops the rest without a word.
constexpr qsizetype unitsPerEvent = 20;

// Where the parts of the text end that one event takes each: behind a user-perceived character, so
// that no mark is parted from its letter. One that is too long for an event is cut itself, but not
// inside of a surrogate pair.
QList<qsizetype> partEnds(const QString &text)
{
    QList<qsizetype> ends;
    qsizetype start = 0;
    const auto cut = [&](qsizetype end) {
        ends.append(end);
        start = end;
    };
    qsizetype previous = 0;
    for (const qsizetype next : Text::graphemeBoundaries(text)) {
        if (next - start > unitsPerEvent && previous > start)
            cut(previous);
        while (next - start > unitsPerEvent) {
            const qsizetype end = start + unitsPerEvent;
            cut(text[end].isLowSurrogate() && text[end - 1].isHighSurrogate() ? end - 1 : end);
        }
        previous = next;
    }
    cut(text.size());
    return ends;
}

class EventSource final : public KeyboardSource
{
public:
    // A text that is too long for one event is pressed and released part by part. The last part is
    // left to its own release, which carries the whole text as its press does.
    QFuture<void> post(const KeyEvent &event) override
    {
        qsizetype start = 0;
        for (const qsizetype end : partEnds(event.text)) {
            KeyEvent part = event;
            part.text = event.text.sliced(start, end - start);
            start = end;
            const bool isLast = end == event.text.size();
            if (!event.isDown && !isLast)
                continue;
            send(part);
            part.isDown = false;
            if (!isLast)
                send(part);
        }
        return settled(std::nullopt);
    }

    QFuture<void> finish() override { return settled(std::nullopt); }

private:
    // An event that cannot be made is none that the user misses more than the others.
    void send(const KeyEvent &event) const
    {
        const CFOwner<CGEventRef> made(
            CGEventCreateKeyboardEvent(m_source.get(), event.code, event.isDown));
        if (!made)
            return;
        if (!event.text.isEmpty()) {
            CGEventKeyboardSetUnicodeString(made.get(),
                                            static_cast<UniCharCount>(event.text.size()),
                                            reinterpret_cast<const UniChar *>(event.text.utf16()));
        }
        // Also where there are none, or the keys that the user holds would count.
        CGEventSetFlags(made.get(), event.flags);
        CGEventPost(kCGHIDEventTap, made.get());
    }

    CFOwner<CGEventSourceRef> m_source{CGEventSourceCreate(kCGEventSourceStateHIDSystemState)};
};
} // namespace

// An event leaves within the call that posts it, so nothing comes between it and the look at who
// has the keyboard that its caller has just taken.
std::unique_ptr<KeyboardSource> MacKeyboard::open(const QString &, ProcessId)
{
    return std::make_unique<EventSource>();
}
