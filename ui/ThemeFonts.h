#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// Fonts of the system that QML does not provide.
class ThemeFonts : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString fixedFamily READ fixedFamily CONSTANT)

public:
    using QObject::QObject;

    /// The family of the fixed-width font.
    [[nodiscard]] static QString fixedFamily();
};
