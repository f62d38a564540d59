#pragma once

#include <QObject>
#include <QSocketNotifier>

/// Turns Ctrl-C and the request to terminate into a Qt signal on the main thread. One at a time;
/// the second request ends the process at once, for a user who will not wait.
class InterruptSignal final : public QObject
{
    Q_OBJECT

public:
    explicit InterruptSignal(QObject *parent = nullptr);
    ~InterruptSignal() override;

Q_SIGNALS:
    /// With the exit status that a shell expects of a program ended so: 128 and the signal's
    /// number.
    void interrupted(int exitStatus);

private:
    void readPipe();

    QSocketNotifier *m_notifier = nullptr;
};
