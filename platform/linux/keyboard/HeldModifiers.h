#pragma once

#include "platform/linux/keyboard/LoanRecord.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <map>

class KeyMap;

/// The modifiers that the user, or another program, holds down or has locked, out of the way while
/// we type. Held keys are pressed again afterwards unless they have been let go in the meantime.
class HeldModifiers
{
public:
    HeldModifiers(XKeyboard &keyboard, LoanRecord &record) : m_keyboard(keyboard), m_record(record)
    {
    }

    /// Puts aside what stands in the way now, apart from what we hold ourselves: nothing of that
    /// may be down.
    void release(const KeyMap &map);

    /// Gives everything back.
    void restore();

private:
    XKeyboard &m_keyboard;
    LoanRecord &m_record;
    std::map<DeviceKey, int> m_held; ///< And how often others had released it before us.
    uint8_t m_locked = 0;
};
