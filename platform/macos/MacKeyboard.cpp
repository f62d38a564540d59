#include "platform/macos/MacKeyboard.h"

#include "platform/Outcome.h"
#include "platform/macos/CFOwner.h"

#include <CoreGraphics/CoreGraphics.h>

namespace {
class EventSource final : public KeyboardSource
{
public:
    // An event that cannot be made is none that the user misses more than the others.
    QFuture<void> post(const KeyEvent &event) override
    {
        const CFOwner<CGEventRef> made(
            CGEventCreateKeyboardEvent(m_source.get(), event.code, event.isDown));
        if (made) {
            if (!event.text.isEmpty()) {
                CGEventKeyboardSetUnicodeString(
                    made.get(), static_cast<UniCharCount>(event.text.size()),
                    reinterpret_cast<const UniChar *>(event.text.utf16()));
            }
            // Also where there are none, or the keys that the user holds would count.
            CGEventSetFlags(made.get(), event.flags);
            CGEventPost(kCGHIDEventTap, made.get());
        }
        return settled(std::nullopt);
    }

    QFuture<void> finish() override { return settled(std::nullopt); }

private:
    CFOwner<CGEventSourceRef> m_source{CGEventSourceCreate(kCGEventSourceStateHIDSystemState)};
};
} // namespace

// An event leaves within the call that posts it, so nothing comes between it and the look at who
// has the keyboard that its caller has just taken.
std::unique_ptr<KeyboardSource> MacKeyboard::open(const QString &, ProcessId)
{
    return std::make_unique<EventSource>();
}
