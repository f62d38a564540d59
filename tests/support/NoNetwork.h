#pragma once

/// From now on, this process and its children cannot create internet sockets, as on a machine
/// without a network. False if the system refuses that.
[[nodiscard]] bool forbidNetwork();
