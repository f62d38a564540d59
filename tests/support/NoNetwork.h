#pragma once

/// From here on, this process and those that it starts can make no internet socket: a machine
/// without a network, whatever the one that the tests run on has. False where the system refuses.
[[nodiscard]] bool forbidNetwork();
