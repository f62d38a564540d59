#pragma once

#include <QByteArray>
#include <QString>

/// Appearance::symbol() for the views. Main thread, and a render thread while the main thread waits
/// for it.
[[nodiscard]] QByteArray systemSymbol(const QString &name, int side);
