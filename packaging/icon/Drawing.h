#pragma once

#include <QByteArray>
#include <QSvgRenderer>

/// Renders the icon. Needs a QGuiApplication.
namespace Drawing {
/// The icon as a square PNG file with a transparent background.
[[nodiscard]] QByteArray png(QSvgRenderer &drawing, int pixels);
} // namespace Drawing
