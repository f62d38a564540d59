#pragma once

#include <filesystem>

/// The freedesktop Trash.
namespace Trash {
/// Moves the item there with what it takes to restore it. Throws a PlatformError.
void put(const std::filesystem::path &item);
} // namespace Trash
