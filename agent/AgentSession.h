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

/// Turns one typed task into a bounded dialogue with the local model: one JSON action per reply,
/// assessed, approved where it is risky, performed, and its result told to the model, until the
/// model is done or a guard stops it. Lives on the main thread as long as the application; no
/// failure leaves it, every ending stands in the transcript.
class AgentSession : public QObject
{
    Q_OBJECT

public:
    /// The most replies that one turn may use.
    static constexpr int maxSteps = 12;

    /// The manager must outlive the session.
    explicit AgentSession(ModelManager &models, QObject *parent = nullptr);
    ~AgentSession() override;

    /// The whole transcript, oldest first; the turn that runs is the last.
    [[nodiscard]] const QList<Turn> &turns() const { return m_turns; }
    [[nodiscard]] bool isRunning() const { return m_isRunning; }
    /// One line on what goes on; empty when idle.
    [[nodiscard]] const QString &status() const { return m_status; }
    /// The model's reply as it streams in.
    [[nodiscard]] const QString &streamPreview() const { return m_streamPreview; }
    /// The risky step that waits for the user.
    [[nodiscard]] const std::optional<PendingConfirmation> &pending() const { return m_pending; }
    /// The task of the last turn, running or finished; absent before the first.
    [[nodiscard]] const std::shared_ptr<Cancellation> &task() const { return m_task; }

    /// Starts a turn. Blank text, or any while a turn runs, is ignored.
    void submit(const QString &text);

    /// Puts another transcript in place. Ignored while a turn runs, whose own place it holds.
    void setTurns(const QList<Turn> &turns);

    /// The user's answer to the pending confirmation.
    void resolve(bool approved);

    /// Cancels the task and declines what waits for approval; the turn ends at the next point where
    /// it can.
    void stop();

Q_SIGNALS:
    // Each property announces that it will change, and again once it has.
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
    // The turn that runs is the last one. Each of these ends early when the session goes away.
    QCoro::Task<> run(QString command);
    /// False where the model is not ready, with which the turn is over.
    QCoro::Task<bool> makeModelReady();
    /// The model's reply; nothing where generating failed, with which the turn is over.
    QCoro::Task<std::optional<QString>> ask(QList<ChatMessage> conversation);
    /// Whether the step may be performed; where it may not, the turn is over.
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
    /// Grows whenever the preview is emptied: pieces that come late belong to an earlier one.
    int m_previewNumber = 0;
    std::optional<PendingConfirmation> m_pending;
    std::optional<Confirmation>
        m_confirmation; ///< What the loop waits for while m_pending is there.
    std::shared_ptr<Cancellation> m_task;
    QCoro::Task<> m_loop; ///< The coroutine of m_task.
};
