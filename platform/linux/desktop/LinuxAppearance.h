#pragma once

#include "platform/Appearance.h"

#include <QDBusVariant>
#include <QObject>
#include <QVariant>

/// The settings that desktops share: at first from GSettings if its schema is installed, then from
/// the desktop portal, which most desktops have and which reports changes.
class LinuxAppearance final : public QObject, public Appearance
{
    Q_OBJECT

public:
    Look look() override;
    void observe(std::function<void()> changed) override;
    /// Icon themes differ between desktops, and none has all symbols in one style.
    QByteArray symbol(const QString &, int) override { return {}; }

private Q_SLOTS:
    void takePortalSetting(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void start();
    void askPortal();
    void take(const QString &group, const QString &key, const QVariant &value);

    Look m_look;
    bool m_hasStarted = false;
    std::function<void()> m_changed;
};
