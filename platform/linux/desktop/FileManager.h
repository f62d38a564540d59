#pragma once

#include <QByteArray>

/// The desktop's file manager. Main thread.
namespace FileManager {
/// Has it show the item of that file address, selected. One that cannot select opens the item's
/// folder instead; one that hangs does nothing.
void show(const QByteArray &itemUri);
} // namespace FileManager
