#include "ui/Glyph.h"

#include <QCache>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <algorithm>
#include <compare>

namespace {
// In the drawings black is ink and white is a hole in it.
QImage stencil(const QString &name, int turn, const QSize &pixels)
{
    QSvgRenderer drawing(QStringLiteral(":/Quillon/glyphs/%1.svg").arg(name));
    if (!drawing.isValid())
        qFatal("There is no glyph %s", qPrintable(name));
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QPointF middle = QRectF(image.rect()).center();
    painter.translate(middle);
    painter.rotate(turn);
    painter.translate(-middle);
    const int side = std::min(pixels.width(), pixels.height());
    QRectF square(0, 0, side, side);
    square.moveCenter(middle);
    drawing.render(&painter, square);
    painter.end();
    return image;
}

QImage tinted(QImage image, const QColor &color)
{
    for (int y = 0; y < image.height(); ++y) {
        auto *const line = reinterpret_cast<QRgb *>(image.scanLine(y));
        std::transform(line, line + image.width(), line, [&color](QRgb pixel) {
            const int ink = std::max(0, qAlpha(pixel) - qGray(pixel)) * color.alpha() / 255;
            return qPremultiply(qRgba(color.red(), color.green(), color.blue(), ink));
        });
    }
    return image;
}
} // namespace

Glyph::Glyph(QQuickItem *parent) : QQuickPaintedItem(parent) {}

void Glyph::setName(const QString &name)
{
    if (name == m_name)
        return;
    m_name = name;
    update();
    Q_EMIT nameChanged();
}

void Glyph::setColor(const QColor &color)
{
    if (color == m_color)
        return;
    m_color = color;
    update();
    Q_EMIT colorChanged();
}

void Glyph::setTurn(int degrees)
{
    if (degrees == m_turn)
        return;
    m_turn = degrees;
    update();
    Q_EMIT turnChanged();
}

// On the thread that renders, while the main thread waits: never two at a time.
void Glyph::paint(QPainter *painter)
{
    if (m_name.isEmpty())
        return;
    const double scale = painter->device()->devicePixelRatio();
    const QSize pixels = (size() * scale).toSize();
    const QString key = QStringLiteral("%1 %2 %3x%4 %5")
                            .arg(m_name)
                            .arg(m_turn)
                            .arg(pixels.width())
                            .arg(pixels.height())
                            .arg(m_color.rgba());
    // The same few drawings stand on every line of a transcript.
    static QCache<QString, QImage> images(200);
    if (!images.contains(key))
        images.insert(key, new QImage(tinted(stencil(m_name, m_turn, pixels), m_color)));
    painter->drawImage(boundingRect(), *images.object(key));
}
