#pragma once

#include <QSize>

#include <cstdint>
#include <vector>

/// Rectangles that together are one with round corners, each as x, y, width and height.
[[nodiscard]] std::vector<std::uint32_t> roundedRegion(QSize size, double radius);
