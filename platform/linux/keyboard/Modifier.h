#pragma once

#include <cstdint>

/// The modifiers of a key press, as bits.
enum class Modifier : uint8_t { shift = 1, control = 2, alt = 4 };
