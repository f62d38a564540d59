#pragma once

#include <QByteArray>

#include <filesystem>

/// What file managers do for the user: showing items, and the freedesktop Trash. Main thread.
namespace FileManager {
/// Has the desktop's file manager show the item of that file address, selected. One that cannot
/// select opens the item's folder instead; one that hangs does nothing. Returns at once.
void show(const QByteArray &itemUri);

/// Waits until all that was to be shown is shown, three seconds after it was asked for at the
/// latest: the bus forgets what a program has asked of one that is still being started, if the
/// former ends.
void finish();

/// Moves the item to the Trash with what it takes to restore it. Throws a PlatformError.
void trash(const std::filesystem::path &item);
} // namespace FileManager
