#pragma once

#include <QColor>
#include <QImage>
#include <QQuickItem>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// A symbol in one colour, rendered at the size of the item and sharp at every scale. It is the
/// system's symbol if there is one, or else the module's drawing. Names are those of Apple's set.
class Glyph : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    /// Degrees, clockwise. Rotates the drawing before it is rendered.
    Q_PROPERTY(int turn READ turn WRITE setTurn NOTIFY turnChanged)

public:
    explicit Glyph(QQuickItem *parent = nullptr);

    [[nodiscard]] const QString &name() const { return m_name; }
    void setName(const QString &name);
    [[nodiscard]] const QColor &color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] int turn() const { return m_turn; }
    void setTurn(int degrees);

    /// The image at that device pixel ratio.
    [[nodiscard]] QImage drawing(double scale) const;

Q_SIGNALS:
    void nameChanged();
    void colorChanged();
    void turnChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *node, UpdatePaintNodeData *data) override;
    void geometryChange(const QRectF &now, const QRectF &before) override;
    void itemChange(ItemChange change, const ItemChangeData &value) override;

private:
    void redraw();

    QString m_name;
    QColor m_color = Qt::black;
    int m_turn = 0;
    bool m_isDrawn = false; ///< Whether the scene graph's image is up to date.
};
