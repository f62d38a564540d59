#include "ui/Glyph.h"

#include "app/SystemSymbol.h"

#include <QCache>
#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSvgRenderer>

#include <algorithm>
#include <compare>

using namespace Qt::StringLiterals;

namespace {
// In the drawings, black is opaque and white is transparent.
QImage stencil(const QString &name, int turn, const QSize &pixels)
{
    QSvgRenderer drawing(u":/Quillon/glyphs/%1.svg"_s.arg(name));
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
    const QByteArray coverage = systemSymbol(name, side);
    if (coverage.isEmpty()) {
        drawing.render(&painter, square);
    } else {
        const auto *const bytes = reinterpret_cast<const uchar *>(coverage.constData());
        painter.drawImage(square, QImage(bytes, side, side, side, QImage::Format_Alpha8));
    }
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

Glyph::Glyph(QQuickItem *parent) : QQuickItem(parent)
{
    setFlag(ItemHasContents);
}

void Glyph::setName(const QString &name)
{
    if (name == m_name)
        return;
    m_name = name;
    redraw();
    Q_EMIT nameChanged();
}

void Glyph::setColor(const QColor &color)
{
    if (color == m_color)
        return;
    m_color = color;
    redraw();
    Q_EMIT colorChanged();
}

void Glyph::setTurn(int degrees)
{
    if (degrees == m_turn)
        return;
    m_turn = degrees;
    redraw();
    Q_EMIT turnChanged();
}

QImage Glyph::drawing(double scale) const
{
    const QSize pixels = (size() * scale).toSize();
    if (m_name.isEmpty() || pixels.isEmpty())
        return {};
    const QString key = u"%1 %2 %3x%4 %5"_s.arg(m_name)
                            .arg(m_turn)
                            .arg(pixels.width())
                            .arg(pixels.height())
                            .arg(m_color.rgba());
    // Every line of a transcript uses one of a few drawings.
    static QCache<QString, QImage> images(200);
    if (!images.contains(key))
        images.insert(key, new QImage(tinted(stencil(m_name, m_turn, pixels), m_color)));
    return *images.object(key);
}

void Glyph::geometryChange(const QRectF &now, const QRectF &before)
{
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size())
        redraw();
}

void Glyph::itemChange(ItemChange change, const ItemChangeData &value)
{
    QQuickItem::itemChange(change, value);
    if (change == ItemDevicePixelRatioHasChanged)
        redraw();
}

void Glyph::redraw()
{
    m_isDrawn = false;
    update();
}

// Called on the render thread while the main thread waits, so never concurrently.
QSGNode *Glyph::updatePaintNode(QSGNode *node, UpdatePaintNodeData *)
{
    if (node != nullptr && m_isDrawn)
        return node;
    m_isDrawn = true;
    delete node;
    const QImage image = drawing(window()->effectiveDevicePixelRatio());
    if (image.isNull())
        return nullptr;
    QSGImageNode *const picture = window()->createImageNode();
    picture->setTexture(window()->createTextureFromImage(image));
    picture->setOwnsTexture(true);
    picture->setFiltering(QSGTexture::Linear);
    picture->setRect(boundingRect());
    return picture;
}
