#include "ui/Contrast.h"

#include <algorithm>
#include <cmath>

namespace {
// The formulas and constants of the guidelines.
double linear(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &colour)
{
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}
} // namespace

double Contrast::ratio(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

QColor Contrast::over(const QColor &colour, const QColor &below)
{
    const float alpha = colour.alphaF();
    const auto mix = [alpha](float top, float bottom) {
        return alpha * top + (1 - alpha) * bottom;
    };
    return QColor::fromRgbF(mix(colour.redF(), below.redF()), mix(colour.greenF(), below.greenF()),
                            mix(colour.blueF(), below.blueF()));
}

QColor Contrast::legible(const QColor &colour, const QColor &background, double wanted)
{
    const QColor black(Qt::black);
    const QColor white(Qt::white);
    const QColor &goal = ratio(black, background) > ratio(white, background) ? black : white;
    constexpr int steps = 50;
    QColor result = colour;
    for (int step = 1; step <= steps && ratio(result, background) < wanted; ++step) {
        QColor veil = goal;
        veil.setAlphaF(static_cast<float>(step) / steps);
        result = over(veil, colour);
    }
    return result;
}
