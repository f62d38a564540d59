#pragma once

#include <QByteArray>
#include <QString>

/// The system's own symbol of that name, as Appearance::symbol has it, for the views. Main thread,
/// and a thread that renders while the main thread waits for it.
[[nodiscard]] QByteArray systemSymbol(const QString &name, int side);
