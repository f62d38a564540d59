#pragma once

#include <functional>

/// The application's menu, if the desktop has a menu bar. It has no item to open a second window.
namespace EditMenu {
/// Adds the text-editing items, which act on the focused item, and "Clear History".
void install(std::function<void()> clearHistory);
} // namespace EditMenu
