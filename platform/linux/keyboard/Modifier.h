#pragma once

#include <cstdint>

/// The modifiers that people press a key with, as bits.
enum class Modifier : uint8_t { shift = 1, control = 2, alt = 4 };
