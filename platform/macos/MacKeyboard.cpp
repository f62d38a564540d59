#include "platform/macos/MacKeyboard.h"

#include "base/Futures.h"
#include "base/Text.h"
#include "platform/macos/CFOwner.h"

#include <CoreGraphics/CoreGraphics.h>

namespace {
// The system silently drops the rest of an event's text.
constexpr qsizetype unitsPerEvent = 20;

// The end positions of the parts that fit into one event each. They are at grapheme boundaries, so
// that marks are not separated from their letters. A grapheme that is too long for an event is
// split, but not inside a surrogate pair.
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
    // A text that is too long for one event is pressed and released in parts. The last part is
    // released by the release event, which has the whole text like the press.
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
        return Futures::done();
    }

    QFuture<void> finish() override { return Futures::done(); }

private:
    // If an event cannot be created, it is dropped.
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
        // Also if there are none, or the modifiers that the user holds would apply.
        CGEventSetFlags(made.get(), event.flags);
        CGEventPost(kCGHIDEventTap, made.get());
    }

    CFOwner<CGEventSourceRef> m_source{CGEventSourceCreate(kCGEventSourceStateHIDSystemState)};
};
} // namespace

// Events are posted synchronously, so the focus cannot change between the caller's check and the
// event.
std::unique_ptr<KeyboardSource> MacKeyboard::open(const QString &, ProcessId)
{
    return std::make_unique<EventSource>();
}
