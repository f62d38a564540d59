#pragma once

#include "platform/linux/AtSpiRole.h"
#include "platform/linux/DBusMessages.h"
#include "platform/linux/PrivateBus.h"

namespace AtSpiPress {
/// Does with an element what a click on it would do; false where it offers no such action, refuses,
/// or where nobody answers by the deadline.
[[nodiscard]] bool press(PrivateBus &bus, const DBusObject &element, AtSpiRole role,
                         PrivateBus::Deadline deadline);
} // namespace AtSpiPress
