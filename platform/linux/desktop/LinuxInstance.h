#pragma once

#include "platform/Instance.h"

#include <QDBusAbstractAdaptor>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

/// One process per session bus: the one that owns the program's well-known name. Later starts call
/// it by org.freedesktop.Application, like desktops.
class LinuxInstance final : public QObject, public Instance
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    /// How long the running instance may take to answer.
    static constexpr int answerLimit = 10'000;

    /// `ownsHotKey` answers other processes that ask whether this one has the hot key.
    explicit LinuxInstance(std::function<bool()> ownsHotKey);

    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;
    [[nodiscard]] LoginItem loginItem(const QString &program,
                                      const QString &argument) const override;

    /// Whether the running instance has the hot key; false if there is none, or if it does not
    /// answer. Bounded as claim() is.
    [[nodiscard]] static bool runningOwnsHotKey();

    [[nodiscard]] bool ownsHotKey() const { return m_ownsHotKey(); }

public Q_SLOTS:
    // The interface declared above.
    Q_SCRIPTABLE void Activate(const QVariantMap &platformData);
    Q_SCRIPTABLE void Open(const QStringList &uris, const QVariantMap &platformData);
    Q_SCRIPTABLE void ActivateAction(const QString &action, const QVariantList &parameter,
                                     const QVariantMap &platformData);

private:
    std::function<bool()> m_ownsHotKey;
    std::function<void(Request)> m_received;
};

/// The part of our interface that is not in org.freedesktop.Application.
class LinuxInstanceState final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.quillon.Quillon")

public:
    explicit LinuxInstanceState(LinuxInstance &instance);

public Q_SLOTS:
    bool OwnsHotKey() const;

private:
    LinuxInstance &m_instance;
};
