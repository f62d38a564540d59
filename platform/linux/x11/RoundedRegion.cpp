#include "platform/linux/x11/RoundedRegion.h"

#include <algorithm>
#include <cmath>

std::vector<uint32_t> roundedRegion(QSize size, double radius)
{
    const auto rows = std::min(static_cast<int>(std::ceil(radius)), size.height() / 2);
    std::vector<uint32_t> region;
    const auto add = [&](int x, int y, int width, int height) {
        for (const int number : {x, y, width, height})
            region.push_back(static_cast<uint32_t>(std::max(number, 0)));
    };
    for (int row = 0; row < rows; ++row) {
        const double rise = radius - row - 0.5;
        const auto inset = static_cast<int>(
            std::ceil(radius - std::sqrt(std::max(radius * radius - rise * rise, 0.0))));
        add(inset, row, size.width() - 2 * inset, 1);
        add(inset, size.height() - 1 - row, size.width() - 2 * inset, 1);
    }
    add(0, rows, size.width(), size.height() - 2 * rows);
    return region;
}
