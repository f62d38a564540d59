#pragma once

#include "ui/TurnsModel.h"

#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

class AgentSession;

/// The view model of the session: what the panel shows of it, and the actions of its controls. Main
/// thread; the session must outlive it.
class SessionViewModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application has the session.")
    Q_PROPERTY(TurnsModel *turns READ turns CONSTANT)
    Q_PROPERTY(bool hasTurns READ hasTurns NOTIFY turnsChanged)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(bool isStopping READ isStopping NOTIFY statusChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(QString preview READ preview NOTIFY previewChanged)
    Q_PROPERTY(bool isPending READ isPending NOTIFY pendingChanged)
    Q_PROPERTY(QString pendingReason READ pendingReason NOTIFY pendingChanged)

public:
    explicit SessionViewModel(AgentSession &session, QObject *parent = nullptr);

    [[nodiscard]] TurnsModel *turns() { return &m_turns; }
    [[nodiscard]] bool hasTurns() const { return m_turns.rowCount() > 0; }
    [[nodiscard]] bool isRunning() const;
    /// True from the request to stop until the task has ended.
    [[nodiscard]] bool isStopping() const;
    [[nodiscard]] QString status() const;
    /// The end of the reply as it streams in.
    [[nodiscard]] const QString &preview() const { return m_preview; }
    [[nodiscard]] bool isPending() const;
    /// Why approval is needed, without invisible characters.
    [[nodiscard]] QString pendingReason() const;

    /// Submits the task as typed.
    void submit(const QString &text);

    /// Stops the running task and declines a pending step.
    Q_INVOKABLE void stop();
    /// The user's answer to the pending step.
    Q_INVOKABLE void resolve(bool approved);
    /// Clears the transcript; ignored while a task runs.
    Q_INVOKABLE void clearHistory();
    /// Copies the whole text of a turn to the clipboard.
    Q_INVOKABLE void copyTurn(int row) const;

Q_SIGNALS:
    /// A turn was added, removed or changed.
    void turnsChanged();
    void isRunningChanged();
    void statusChanged();
    void previewChanged();
    void pendingChanged();
    /// A running task has written a line of its log, or changed one.
    void lineWritten(const QString &text);

private:
    void tellLines();
    void showPreview();

    AgentSession &m_session;
    TurnsModel m_turns;
    QHash<QUuid, QString> m_told; ///< The lines of the last turn by their ids.
    QString m_preview;
    QTimer m_previewPause;
};
