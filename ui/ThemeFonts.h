#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// The system's fonts, as far as QML does not know them.
class ThemeFonts : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString fixedFamily READ fixedFamily CONSTANT)

public:
    using QObject::QObject;

    /// The family whose letters are all of one width.
    [[nodiscard]] static QString fixedFamily();
};
