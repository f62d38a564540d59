#pragma once

#include <QByteArray>

/// The desktop's file manager. Main thread.
namespace FileManager {
/// Has it show the item of that file address, selected. One that cannot select opens the item's
/// folder instead; one that hangs does nothing. Returns at once.
void show(const QByteArray &itemUri);

/// Waits until all that was to be shown is shown, three seconds after it was asked for at the
/// latest: the bus forgets what a program has asked of one that is still being started, if the
/// former ends.
void finish();
} // namespace FileManager
