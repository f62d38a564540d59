#pragma once

#include "agent/Confirmation.h"
#include "agent/Safety.h"
#include "agent/Transcript.h"
#include "base/Cancellation.h"
#include "inference/ChatMessage.h"
#include "inference/InferenceEngine.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class ModelManager;

/// Turns one typed task into a bounded dialogue with the local model. Each reply holds one JSON
/// action, which is assessed, approved by the user if it is risky, and performed; its result goes
/// back to the model, until the model is done or a limit ends the turn. Lives on the main thread as
/// long as the application. Throws nothing: the transcript tells how each turn ended.
class AgentSession : public QObject
{
    Q_OBJECT

public:
    /// The model replies at most this often in one turn.
    static constexpr int maxSteps = 12;

    /// The manager must outlive the session.
    explicit AgentSession(ModelManager &models, QObject *parent = nullptr);
    ~AgentSession() override;

    /// The whole transcript, oldest first; the turn that runs is the last.
    [[nodiscard]] const QList<Turn> &turns() const { return m_turns; }
    [[nodiscard]] bool isRunning() const { return m_isRunning; }
    /// One line on what the session is doing; empty when idle.
    [[nodiscard]] const QString &status() const { return m_status; }
    /// The model's reply as it streams in.
    [[nodiscard]] const QString &streamPreview() const { return m_streamPreview; }
    /// The risky step that waits for the user's approval.
    [[nodiscard]] const std::optional<PendingConfirmation> &pending() const { return m_pending; }
    /// The task of the last turn, running or finished; absent before the first.
    [[nodiscard]] const std::shared_ptr<Cancellation> &task() const { return m_task; }

    /// Starts a turn. Ignored if the text is blank or a turn is running.
    void submit(const QString &text);

    /// Replaces the transcript. Ignored while a turn is running, since that turn is part of it.
    void setTurns(const QList<Turn> &turns);

    /// The user's answer to the pending confirmation.
    void resolve(bool approved);

    /// Cancels the task and declines what waits for approval; the turn ends at the next point where
    /// it can.
    void stop();

Q_SIGNALS:
    // Each property has a signal before it changes and one afterwards.
    void turnsWillChange();
    void turnsChanged();
    void isRunningWillChange();
    void isRunningChanged();
    void statusWillChange();
    void statusChanged();
    void streamPreviewWillChange();
    void streamPreviewChanged();
    void pendingWillChange();
    void pendingChanged();

private:
    // The running turn is the last one. Each of these returns early if the session is destroyed.
    QCoro::Task<> run(QString command);
    /// False if the model cannot be made ready; the turn is then finished.
    QCoro::Task<bool> makeModelReady();
    /// The model's reply; nothing if generating failed, and the turn is then finished.
    QCoro::Task<std::optional<QString>> ask(QList<ChatMessage> conversation);
    /// Performs the step if it may be, and returns what to tell the model; nothing if the user
    /// declined, and the turn is then finished.
    QCoro::Task<std::optional<QString>> perform(AgentAction action, CancellationToken task);
    /// Whether the step may be performed; if not, the turn is then finished.
    QCoro::Task<bool> approve(LogEntry step, AgentAction action, Risk risk);
    void finish(const std::optional<QString> &summary = std::nullopt);

    void appendLine(LogEntry entry);
    void fail(const QString &sentence);
    void rewriteLine(const LogEntry &entry);

    [[nodiscard]] InferenceEngine::OnToken preview();
    void clearPreview();
    void setStatus(const QString &status);
    void setPending(const std::optional<PendingConfirmation> &pending);
    void setIsRunning(bool isRunning);

    ModelManager &m_models;
    QList<Turn> m_turns;
    bool m_isRunning = false;
    QString m_status;
    QString m_streamPreview;
    /// Incremented when the preview is cleared, to recognise late pieces of an earlier reply.
    int m_previewNumber = 0;
    std::optional<PendingConfirmation> m_pending;
    std::optional<Confirmation> m_confirmation; ///< What the loop waits for while m_pending is set.
    std::shared_ptr<Cancellation> m_task;
    QCoro::Task<> m_loop; ///< The coroutine of m_task.
};
