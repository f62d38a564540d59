#pragma once

#include <QByteArray>

#include <filesystem>

/// Functions of the file manager: showing items, and the freedesktop Trash. Main thread.
namespace FileManager {
/// Shows the item with that file URI, selected, in the desktop's file manager. If that cannot
/// select, it opens the item's folder instead; if it hangs, nothing happens. Returns at once.
void show(const QByteArray &itemUri);

/// Waits until all requested items are shown, at most three seconds after each request: the bus
/// drops requests to a program that is still starting if the requesting program exits.
void finish();

/// Moves the item to the Trash with the information to restore it. Throws a PlatformError.
void trash(const std::filesystem::path &item);
} // namespace FileManager
