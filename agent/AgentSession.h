#pragma once

#include "agent/Confirmation.h"
#include "agent/Transcript.h"
#include "base/Cancellation.h"
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
///
/// The stop control cancels task() and then calls resolve(false).
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
    QCoro::Task<> run(QString command, qsizetype turnIndex);
    void finish(qsizetype turnIndex, const std::optional<QString> &summary = std::nullopt);

    void appendLine(qsizetype turnIndex, LogEntry entry);
    void fail(qsizetype turnIndex, const QString &sentence);
    void rewriteLine(qsizetype turnIndex, const QUuid &id, const QString &text, LogEntry::Kind kind,
                     bool running);

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
