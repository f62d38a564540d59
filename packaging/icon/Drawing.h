#pragma once

#include <QByteArray>
#include <QSvgRenderer>

/// The icon's drawing as pictures. Needs a QGuiApplication.
namespace Drawing {
/// A square picture of it as a PNG file with a transparent ground.
[[nodiscard]] QByteArray png(QSvgRenderer &drawing, int pixels);
} // namespace Drawing
