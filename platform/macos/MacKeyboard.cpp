#include "platform/macos/MacKeyboard.h"

#include "platform/Outcome.h"
#include "platform/macos/CFOwner.h"

#include <CoreGraphics/CoreGraphics.h>

#include <algorithm>

namespace {
// What the system takes of an event's text; it drops the rest without a word.
constexpr qsizetype unitsPerEvent = 20;

// Where the next event's part of the text ends: not inside of a surrogate pair.
qsizetype partEnd(const QString &text, qsizetype start)
{
    const qsizetype end = std::min(start + unitsPerEvent, text.size());
    const bool splitsPair =
        end < text.size() && text[end].isLowSurrogate() && text[end - 1].isHighSurrogate();
    return splitsPair ? end - 1 : end;
}

class EventSource final : public KeyboardSource
{
public:
    // A text that is too long for one event is pressed and released part by part. The last part is
    // left to its own release, which carries the whole text as its press does.
    QFuture<void> post(const KeyEvent &event) override
    {
        qsizetype start = 0;
        for (qsizetype end = partEnd(event.text, start); end < event.text.size();
             end = partEnd(event.text, start)) {
            KeyEvent part = event;
            part.text = event.text.sliced(start, end - start);
            start = end;
            if (!event.isDown)
                continue;
            send(part);
            part.isDown = false;
            send(part);
        }
        KeyEvent last = event;
        last.text = event.text.sliced(start);
        send(last);
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
