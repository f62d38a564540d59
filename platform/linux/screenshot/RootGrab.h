#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

class QImage;

/// How a display packs a pixel's colours into bytes, whichever of the many ways it is. Turns it
/// into a byte for each colour.
class PixelFormat
{
public:
    struct Masks
    {
        uint32_t red = 0;
        uint32_t green = 0;
        uint32_t blue = 0;
    };

    /// For pixels of two, three or four bytes.
    PixelFormat(size_t bytesPerPixel, bool isBigEndian, Masks masks);

    [[nodiscard]] size_t bytesPerPixel() const { return m_bytesPerPixel; }

    /// Reads as many pixels as there are in the row and writes their red, green and blue.
    void convert(std::span<const uint8_t> row, uint8_t *rgb) const;

private:
    // One colour's bits, and the byte that stands for each of their values.
    struct Channel
    {
        explicit Channel(uint32_t mask);

        uint32_t mask;
        int shift;
        std::vector<uint8_t> bytes;
    };

    size_t m_bytesPerPixel;
    bool m_isBigEndian;
    std::array<Channel, 3> m_channels;
};

/// What all monitors of the X display show.
namespace RootGrab {
/// Grabs it over a connection of its own, which may wait for the server without bound, and calls
/// back at each sign of life. Throws a PlatformError. Any thread.
[[nodiscard]] QImage grab(const std::function<void()> &answered);
} // namespace RootGrab
