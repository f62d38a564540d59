#pragma once

#include "base/ProcessId.h"

#include <QFuture>
#include <QString>

#include <memory>

/// One key of the standard Mac keyboard going down or up.
struct KeyEvent
{
    quint16 code = 0;  ///< The virtual key code.
    quint32 flags = 0; ///< The modifiers that are held with it, as event flags.
    bool isDown = false;
    QString text = {}; ///< What it types in place of its own character.

    bool operator==(const KeyEvent &) const = default;
};

/// The modifiers of an event, combined with a bitwise or.
namespace KeyFlag {
constexpr quint32 shift = 0x20000;
constexpr quint32 control = 0x40000;
constexpr quint32 option = 0x80000;
constexpr quint32 command = 0x100000;
} // namespace KeyFlag

/// Posts key events where the keyboard's own come from, for the length of one action. Whatever the
/// system had to be set up with for that goes back to what it was when the source is finished or
/// destroyed, and also when this process dies. Main thread only; the futures finish there, within
/// about two seconds, and may carry a PlatformError.
class KeyboardSource
{
public:
    virtual ~KeyboardSource() = default;

    /// Finishes when the event is on its way to the receiver. A key goes down for nobody else:
    /// where another process has the keyboard by then, that is a PlatformError and the end.
    [[nodiscard]] virtual QFuture<void> post(const KeyEvent &event) = 0;

    /// Finishes when everything is as it was before; the last call.
    [[nodiscard]] virtual QFuture<void> finish() = 0;
};

/// The keyboard, for the application in front. Main thread only.
class Keyboard
{
public:
    virtual ~Keyboard() = default;

    /// Puts back, in its own time, what is left of a source whose process was killed and could not
    /// do so itself. For the start of the program.
    virtual void recover() = 0;

    /// A source for one action, for the process that has the keyboard. The text is all that its
    /// events are going to type.
    [[nodiscard]] virtual std::unique_ptr<KeyboardSource> open(const QString &text,
                                                               ProcessId receiver) = 0;
};
