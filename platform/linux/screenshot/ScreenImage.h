#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

/// A picture: rows from top to bottom of red, green and blue, a byte each. Black when it is made.
struct ScreenImage
{
    ScreenImage(uint32_t imageWidth, uint32_t imageHeight)
        : width(imageWidth), height(imageHeight), rgb(size_t{3} * imageWidth * imageHeight)
    {
    }

    [[nodiscard]] uint8_t *pixel(uint32_t x, uint32_t y)
    {
        return rgb.data() + 3 * (size_t{y} * width + x);
    }

    /// The picture as a PNG file. Throws a PlatformError.
    [[nodiscard]] QByteArray toPng() const;

    uint32_t width;
    uint32_t height;
    std::vector<uint8_t> rgb;
};
