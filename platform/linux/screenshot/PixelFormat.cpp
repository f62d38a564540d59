#include "platform/linux/screenshot/PixelFormat.h"

#include <bit>

PixelFormat::Channel::Channel(uint32_t channelMask)
    : mask(channelMask), shift(channelMask == 0 ? 0 : std::countr_zero(channelMask))
{
    const uint32_t largest = mask >> shift;
    bytes.resize(size_t{largest} + 1);
    for (uint32_t value = 1; value <= largest; ++value)
        bytes[value] = static_cast<uint8_t>((value * 255 + largest / 2) / largest);
}

PixelFormat::PixelFormat(size_t bytesPerPixel, bool isBigEndian, Masks masks)
    : m_bytesPerPixel(bytesPerPixel)
    , m_isBigEndian(isBigEndian)
    , m_channels{Channel(masks.red), Channel(masks.green), Channel(masks.blue)}
{
}

void PixelFormat::convert(std::span<const uint8_t> row, uint8_t *rgb) const
{
    for (; row.size() >= m_bytesPerPixel; row = row.subspan(m_bytesPerPixel)) {
        uint32_t pixel = 0;
        for (size_t i = 0; i < m_bytesPerPixel; ++i)
            pixel = pixel << 8 | row[m_isBigEndian ? i : m_bytesPerPixel - 1 - i];
        for (const Channel &channel : m_channels)
            *rgb++ = channel.bytes[(pixel & channel.mask) >> channel.shift];
    }
}
