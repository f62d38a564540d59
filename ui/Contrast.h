#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

/// Contrast as defined by the Web Content Accessibility Guidelines, which require 4.5 for text and
/// 3 for glyphs and large text.
class Contrast : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// 1 for equal colours, 21 for black on white. Opaque colours.
    Q_INVOKABLE [[nodiscard]] static double ratio(const QColor &one, const QColor &other);

    /// The result of a translucent colour over an opaque one.
    Q_INVOKABLE [[nodiscard]] static QColor over(const QColor &colour, const QColor &below);

    /// The colour, made darker or lighter as little as necessary for that ratio on a background.
    Q_INVOKABLE [[nodiscard]] static QColor legible(const QColor &colour, const QColor &background,
                                                    double wanted);
};
