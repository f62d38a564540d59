#pragma once

#include <functional>

/// The one menu of our own, where the desktop has a menu bar. There is no item that would open a
/// second window.
namespace EditMenu {
/// The text-editing items, which act on whatever has the keyboard, and "Clear History".
void install(std::function<void()> clearHistory);
} // namespace EditMenu
