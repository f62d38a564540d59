#include "packaging/icon/Drawing.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>

QByteArray Drawing::png(QSvgRenderer &drawing, int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}
