#pragma once

#include "platform/linux/atspi/PrivateBus.h"

#include <memory>

/// The service of the session through which one gets to the accessibility bus. All of it blocks, up
/// to a deadline unless a bus has stopped.
namespace AtSpiBus {
/// Whether the bus is there and applications are asked to be on it.
[[nodiscard]] bool isEnabled(PrivateBus::Deadline deadline);

/// Asks applications to be on it. What is told is whether the service took the wish.
[[nodiscard]] bool enable(PrivateBus::Deadline deadline);

/// A connection to it; null where it does not answer.
[[nodiscard]] std::shared_ptr<PrivateBus> connect(PrivateBus::Deadline deadline);
} // namespace AtSpiBus
