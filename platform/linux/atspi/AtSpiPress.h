#pragma once

#include "platform/linux/atspi/AtSpiRole.h"
#include "platform/linux/atspi/DBusMessages.h"
#include "platform/linux/atspi/PrivateBus.h"

namespace AtSpiPress {
/// Does with an element what a click on it would do; false where it offers no such action, refuses,
/// or where nobody answers by the deadline.
[[nodiscard]] bool press(PrivateBus &bus, const DBusObject &element, AtSpiRole role,
                         PrivateBus::Deadline deadline);
} // namespace AtSpiPress
