#pragma once

#include "agent/AgentSession.h"
#include "app/Terminal.h"
#include "models/ModelManager.h"

#include <QCoro/QCoroTask>
#include <QFuture>
#include <QObject>
#include <QPromise>
#include <QString>

#include <optional>

/// Runs one task in the terminal: prints the transcript line by line, asks before a risky step, and
/// shows the progress of the model's download. Main thread.
class TerminalRunner final : public QObject
{
    Q_OBJECT

public:
    /// How the transcript is printed.
    enum class Form {
        text,    ///< For people.
        records, ///< For programs: a JSON object a line, with its "kind" and its "text".
    };

    TerminalRunner(ModelManager &models, AgentSession &session, Terminal &terminal,
                   Form form = Form::text, QObject *parent = nullptr);

    /// Runs the task and returns the exit status: 0 if the model has reported that it is done, 1
    /// for any other end, or the argument of stop().
    [[nodiscard]] QCoro::Task<int> run(QString task);

    /// Stops the task like the panel's stop button; run() then returns this exit status.
    void stop(int exitStatus);

private:
    [[nodiscard]] QCoro::Task<bool> makeModelReady();
    [[nodiscard]] QFuture<void> nextChange();
    void announceChange();
    void showDownload();
    void showActivity();
    void print(const QString &kind, const QString &text, const QString &shown);
    void printSettledLines();
    void askForApproval();
    void takeAnswer(const QString &line);

    ModelManager &m_models;
    AgentSession &m_session;
    Terminal &m_terminal;
    const Form m_form;
    std::optional<QPromise<void>> m_change; ///< The promise of nextChange().
    qsizetype m_printedLines = 0;
    bool m_downloadIsAnnounced = false;
    std::optional<int> m_stopStatus; ///< Set by stop().
};
