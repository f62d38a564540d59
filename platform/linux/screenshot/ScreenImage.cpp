#include "platform/linux/screenshot/ScreenImage.h"

#include "platform/PlatformError.h"

#include <png.h>

using namespace Qt::StringLiterals;

QByteArray ScreenImage::toPng() const
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    QByteArray file(static_cast<qsizetype>(PNG_IMAGE_PNG_SIZE_MAX(image)), Qt::Uninitialized);
    auto length = static_cast<png_alloc_size_t>(file.size());
    if (png_image_write_to_memory(&image, file.data(), &length, 0, rgb.data(), 0, nullptr) == 0) {
        throw PlatformError(u"The screenshot can't be put into a file: "_s +
                            QString::fromUtf8(image.message) + u'.');
    }
    file.truncate(static_cast<qsizetype>(length));
    return file;
}
