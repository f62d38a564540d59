#include "platform/linux/screenshot/RootGrab.h"

#include "platform/PlatformError.h"
#include "platform/linux/x11/Xcb.h"

#include <xcb/randr.h>
#include <xcb/shm.h>

#include <QImage>
#include <QString>

#include <algorithm>
#include <bit>
#include <new>
#include <optional>
#include <span>

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
// The size of one request if the pixels are sent over the connection.
constexpr uint32_t chunkSize = 1 << 20;

[[noreturn]] void fail()
{
    throw PlatformError(u"The display doesn't let its picture be taken."_s);
}

// An area inside the screen.
struct Area
{
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

Area clipped(const xcb_randr_monitor_info_t &monitor, const Area &whole)
{
    const auto part = [](int start, int length, uint32_t limit) {
        const auto from = std::clamp<int64_t>(start, 0, limit);
        const auto to = std::clamp<int64_t>(int64_t{start} + length, from, limit);
        return std::pair(static_cast<uint32_t>(from), static_cast<uint32_t>(to - from));
    };
    const auto [x, width] = part(monitor.x, monitor.width, whole.width);
    const auto [y, height] = part(monitor.y, monitor.height, whole.height);
    return {x, y, width, height};
}

// Memory that is shared with the server.
class SharedMemory
{
public:
    explicit SharedMemory(size_t size) : m_file(memfd_create("screen", MFD_CLOEXEC)), m_size(size)
    {
        if (m_file < 0 || ftruncate(m_file, static_cast<off_t>(size)) != 0)
            return;
        void *const memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, m_file, 0);
        if (memory != MAP_FAILED)
            m_memory = static_cast<const uint8_t *>(memory);
    }

    ~SharedMemory()
    {
        if (m_memory)
            munmap(const_cast<uint8_t *>(m_memory), m_size);
        if (m_file >= 0)
            close(m_file);
    }

    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;

    [[nodiscard]] bool isThere() const { return m_memory != nullptr; }
    [[nodiscard]] std::span<const uint8_t> bytes() const { return {m_memory, m_size}; }
    /// A duplicate of the descriptor, owned by the caller.
    [[nodiscard]] int descriptor() const { return dup(m_file); }

private:
    int m_file;
    size_t m_size;
    const uint8_t *m_memory = nullptr;
};

class Grab
{
public:
    explicit Grab(const std::function<void()> &answered)
        : m_answered(answered), m_display(Xcb::open())
    {
    }

    QImage take()
    {
        if (!m_display.connection)
            throw PlatformError(u"There is no display to take a picture of."_s);
        m_answered();
        findFormat();
        const XcbReply<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), root()), nullptr));
        if (!size)
            fail();
        const Area whole{0, 0, size->width, size->height};
        QImage image(static_cast<int>(whole.width), static_cast<int>(whole.height),
                     QImage::Format_RGB888);
        if (image.isNull())
            throw std::bad_alloc();
        image.fill(Qt::black);
        // Areas that no monitor shows stay black.
        for (const Area &area : monitors(whole)) {
            if (!copyByMemory(area, image))
                copyByConnection(area, image);
        }
        return image;
    }

private:
    [[nodiscard]] xcb_connection_t *connection() const { return m_display.connection.get(); }
    [[nodiscard]] xcb_window_t root() const { return m_display.screen->root; }

    void findFormat()
    {
        const xcb_setup_t *const setup = xcb_get_setup(connection());
        const xcb_screen_t *const screen = m_display.screen;
        const xcb_visualtype_t *visual = nullptr;
        for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0;
             xcb_depth_next(&depth)) {
            for (auto each = xcb_depth_visuals_iterator(depth.data); each.rem > 0;
                 xcb_visualtype_next(&each)) {
                if (each.data->visual_id == screen->root_visual)
                    visual = each.data;
            }
        }
        for (auto each = xcb_setup_pixmap_formats_iterator(setup); each.rem > 0;
             xcb_format_next(&each)) {
            if (each.data->depth != screen->root_depth || !visual)
                continue;
            m_padBits = each.data->scanline_pad;
            // Visuals with colour tables are not supported.
            const bool isDirect = visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR ||
                                  visual->_class == XCB_VISUAL_CLASS_DIRECT_COLOR;
            if (isDirect && each.data->bits_per_pixel % 8 == 0) {
                m_format.emplace(
                    each.data->bits_per_pixel / 8,
                    setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST,
                    PixelFormat::Masks{visual->red_mask, visual->green_mask, visual->blue_mask});
            }
        }
        if (!m_format)
            fail();
    }

    // The monitors, or the whole screen if there are none.
    [[nodiscard]] std::vector<Area> monitors(const Area &whole) const
    {
        std::vector<Area> areas;
        if (Xcb::extension(connection(), xcb_randr_id)) {
            // The client has to tell its version first.
            const XcbReply<xcb_randr_query_version_reply_t> version(xcb_randr_query_version_reply(
                connection(), xcb_randr_query_version(connection(), 1, 5), nullptr));
            const XcbReply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
                connection(), xcb_randr_get_monitors(connection(), root(), 1), nullptr));
            if (reply) {
                for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get());
                     each.rem > 0; xcb_randr_monitor_info_next(&each)) {
                    const Area area = clipped(*each.data, whole);
                    if (area.width > 0 && area.height > 0)
                        areas.push_back(area);
                }
            }
        }
        return areas.empty() ? std::vector<Area>{whole} : areas;
    }

    [[nodiscard]] size_t stride(uint32_t width) const
    {
        const size_t bits = width * m_format->bytesPerPixel() * 8;
        return (bits + m_padBits - 1) / m_padBits * m_padBits / 8;
    }

    // Converts rows of the server's pixels.
    void convert(std::span<const uint8_t> pixels, const Area &area, QImage &image) const
    {
        const size_t rowLength = stride(area.width);
        if (pixels.size() < rowLength * area.height)
            fail();
        for (uint32_t row = 0; row < area.height; ++row) {
            m_format->convert(
                pixels.subspan(row * rowLength, area.width * m_format->bytesPerPixel()),
                image.scanLine(static_cast<int>(area.y + row)) + size_t{3} * area.x);
        }
    }

    // File descriptors can only be sent to a local server.
    [[nodiscard]] bool isLocal() const
    {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        return getpeername(xcb_get_file_descriptor(connection()),
                           reinterpret_cast<sockaddr *>(&address), &length) == 0 &&
               address.ss_family == AF_UNIX;
    }

    [[nodiscard]] bool sharesMemory()
    {
        if (!isLocal() || !Xcb::extension(connection(), xcb_shm_id))
            return false;
        const XcbReply<xcb_shm_query_version_reply_t> version(xcb_shm_query_version_reply(
            connection(), xcb_shm_query_version(connection()), nullptr));
        return version && (version->major_version > 1 ||
                           (version->major_version == 1 && version->minor_version >= 2));
    }

    bool copyByMemory(const Area &area, QImage &image)
    {
        if (!sharesMemory())
            return false;
        const SharedMemory memory(stride(area.width) * area.height);
        const int descriptor = memory.isThere() ? memory.descriptor() : -1;
        if (descriptor < 0)
            return false;
        const xcb_shm_seg_t segment = xcb_generate_id(connection());
        const XcbReply<xcb_generic_error_t> refusal(xcb_request_check(
            connection(), xcb_shm_attach_fd_checked(connection(), segment, descriptor, 0)));
        if (refusal)
            return false;
        const XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
            connection(),
            xcb_shm_get_image(connection(), root(), static_cast<int16_t>(area.x),
                              static_cast<int16_t>(area.y), static_cast<uint16_t>(area.width),
                              static_cast<uint16_t>(area.height), allPlanes,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
            nullptr));
        xcb_shm_detach(connection(), segment);
        if (!reply)
            return false;
        m_answered();
        convert(memory.bytes(), area, image);
        return true;
    }

    void copyByConnection(const Area &area, QImage &image)
    {
        const auto rows = std::max<uint32_t>(
            1, chunkSize / static_cast<uint32_t>(std::max<size_t>(1, stride(area.width))));
        for (uint32_t done = 0; done < area.height; done += rows) {
            const Area part{area.x, area.y + done, area.width, std::min(rows, area.height - done)};
            const XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
                connection(),
                xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(),
                              static_cast<int16_t>(part.x), static_cast<int16_t>(part.y),
                              static_cast<uint16_t>(part.width), static_cast<uint16_t>(part.height),
                              allPlanes),
                nullptr));
            if (!reply)
                fail();
            m_answered();
            convert({xcb_get_image_data(reply.get()),
                     static_cast<size_t>(xcb_get_image_data_length(reply.get()))},
                    part, image);
        }
    }

    static constexpr uint32_t allPlanes = 0xffffffff;

    const std::function<void()> &m_answered;
    const XcbDisplay m_display;
    uint32_t m_padBits = 32;
    std::optional<PixelFormat> m_format;
};
} // namespace

QImage RootGrab::grab(const std::function<void()> &answered)
{
    return Grab(answered).take();
}

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
