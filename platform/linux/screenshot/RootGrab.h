#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

class QImage;

/// The pixel format of a display. Converts pixels to one byte for each colour.
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

    /// Converts all pixels in the row to red, green and blue bytes.
    void convert(std::span<const uint8_t> row, uint8_t *rgb) const;

private:
    // The bits of one colour, and the byte for each of their values.
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

/// Captures all monitors of the X display.
namespace RootGrab {
/// Uses its own connection, may block on the server without a timeout, and calls `answered` after
/// each answer. Throws a PlatformError. Any thread.
[[nodiscard]] QImage grab(const std::function<void()> &answered);
} // namespace RootGrab
