#pragma once

#include "platform/Instance.h"

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

    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;

    /// Whether an instance is running. Has the same timeout as claim().
    [[nodiscard]] static bool isRunning();

public Q_SLOTS:
    // The interface declared above.
    Q_SCRIPTABLE void Activate(const QVariantMap &platformData);
    Q_SCRIPTABLE void Open(const QStringList &uris, const QVariantMap &platformData);
    Q_SCRIPTABLE void ActivateAction(const QString &action, const QVariantList &parameter,
                                     const QVariantMap &platformData);

private:
    std::function<void(Request)> m_received;
};
