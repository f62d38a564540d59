#pragma once

#include <QColor>
#include <QImage>
#include <QQuickItem>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// One symbol, drawn in one colour at whatever size the item has, crisp at every scale. It is the
/// system's own where that has one, else the module's drawing, under the name that Apple's set has
/// for the same meaning.
class Glyph : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    /// Degrees, clockwise. The drawing is turned, not its pixels.
    Q_PROPERTY(int turn READ turn WRITE setTurn NOTIFY turnChanged)

public:
    explicit Glyph(QQuickItem *parent = nullptr);

    [[nodiscard]] const QString &name() const { return m_name; }
    void setName(const QString &name);
    [[nodiscard]] const QColor &color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] int turn() const { return m_turn; }
    void setTurn(int degrees);

    /// What is shown, with that many pixels to a point.
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
    bool m_isDrawn = false; ///< What the scene graph has is what is to be shown.
};
