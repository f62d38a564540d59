#pragma once

#include "base/ProcessId.h"

#include <QFuture>
#include <QString>

#include <memory>

/// A press or release of one key of the standard Mac keyboard.
struct KeyEvent
{
    quint16 code = 0;  ///< The virtual key code.
    quint32 flags = 0; ///< The modifiers held with it, as event flags.
    bool isDown = false;
    QString text = {}; ///< What it types instead of the key's own character.

    bool operator==(const KeyEvent &) const = default;
};

/// The modifiers of an event, combined with a bitwise or.
namespace KeyFlag {
constexpr quint32 shift = 0x20000;
constexpr quint32 control = 0x40000;
constexpr quint32 option = 0x80000;
constexpr quint32 command = 0x100000;
} // namespace KeyFlag

/// Injects key events at the level of the hardware keyboard, for one action. Any system state that
/// it has to change is restored when the source is finished or destroyed, and also if this process
/// is killed. Main thread only; the futures finish there, within about two seconds, and may carry a
/// PlatformError.
class KeyboardSource
{
public:
    virtual ~KeyboardSource() = default;

    /// Finishes when the event has been sent. If another process than the receiver has the focus by
    /// then, no key is pressed: the future carries a PlatformError, and the source is at its end.
    [[nodiscard]] virtual QFuture<void> post(const KeyEvent &event) = 0;

    /// Must be the last call. Finishes when the system's state is restored.
    [[nodiscard]] virtual QFuture<void> finish() = 0;
};

/// Types into the application in front. Main thread only.
class Keyboard
{
public:
    virtual ~Keyboard() = default;

    /// Restores the state that a killed process has left changed. Asynchronous; called when the
    /// program starts.
    virtual void recover() = 0;

    /// A source for one action, for the process that has the focus. The text contains all
    /// characters that its events will type.
    [[nodiscard]] virtual std::unique_ptr<KeyboardSource> open(const QString &text,
                                                               ProcessId receiver) = 0;
};
