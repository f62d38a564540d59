#pragma once

#include <QObject>
#include <QSocketNotifier>

/// Turns SIGINT and SIGTERM into a Qt signal on the main thread. Only one may exist. A second
/// signal ends the process at once, for a user who does not want to wait.
class InterruptSignal final : public QObject
{
    Q_OBJECT

public:
    explicit InterruptSignal(QObject *parent = nullptr);
    ~InterruptSignal() override;

Q_SIGNALS:
    /// With the exit status that shells expect: 128 plus the signal's number.
    void interrupted(int exitStatus);

private:
    void readPipe();

    QSocketNotifier *m_notifier = nullptr;
};
