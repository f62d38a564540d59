#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

/// What the views need to know of the desktop, and what they ask of their window. Main thread.
class Panel : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(bool trusted MEMBER trusted NOTIFY trustedChanged)
    Q_PROPERTY(bool composited MEMBER composited NOTIFY compositedChanged)
    Q_PROPERTY(bool darkMode MEMBER darkMode NOTIFY lookChanged)
    Q_PROPERTY(bool reducedMotion MEMBER reducedMotion NOTIFY lookChanged)
    Q_PROPERTY(QColor accentColor MEMBER accentColor NOTIFY lookChanged)

public:
    using QObject::QObject;

    bool trusted = true;
    bool composited = false;
    bool darkMode = false;
    bool reducedMotion = false;
    QColor accentColor;
    QStringList calls;

    Q_INVOKABLE void requestTrust() { calls << QStringLiteral("requestTrust"); }
    Q_INVOKABLE void hide() { calls << QStringLiteral("hide"); }
    Q_INVOKABLE void close() { calls << QStringLiteral("close"); }
    Q_INVOKABLE void minimise() { calls << QStringLiteral("minimise"); }

Q_SIGNALS:
    void summonPalette();
    void trustedChanged();
    void compositedChanged();
    void lookChanged();
};
