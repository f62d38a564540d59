#include "agent/AgentSession.h"

#include "agent/SystemPrompt.h"
#include "agent/action/ActionError.h"
#include "base/MainThread.h"
#include "executor/Executor.h"
#include "models/ModelManager.h"

#include <QPointer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
/// Enough for one JSON action, and a bound on how long a small model keeps the user waiting.
constexpr int maxReplyTokens = 200;
/// Small models lose the format at times; one that does so three times in a turn has no plan.
constexpr int maxUnreadableReplies = 3;

ChatMessage message(Role role, const QString &content)
{
    return {.role = role, .content = content};
}

QString stateLine()
{
    return u"\nState: "_s + Executor::observe();
}
} // namespace

AgentSession::AgentSession(ModelManager &models, QObject *parent)
    : QObject(parent), m_models(models)
{
}

AgentSession::~AgentSession()
{
    // A loop that waits for the user is resumed once more, finds the session gone, and ends.
    if (m_confirmation)
        m_confirmation->resume(false);
}

void AgentSession::submit(const QString &text)
{
    const QString command = text.trimmed();
    if (command.isEmpty() || m_isRunning)
        return;

    Q_EMIT turnsWillChange();
    m_turns.append(Turn{.command = command});
    Q_EMIT turnsChanged();
    setIsRunning(true);

    m_task = std::make_shared<Cancellation>();
    MainThread::post([session = QPointer(this), command] {
        if (session)
            session->m_loop = session->run(command);
    });
}

void AgentSession::setTurns(const QList<Turn> &turns)
{
    if (m_isRunning)
        return;
    Q_EMIT turnsWillChange();
    m_turns = turns;
    Q_EMIT turnsChanged();
}

void AgentSession::resolve(bool approved)
{
    setPending(std::nullopt);
    if (const auto confirmation = std::exchange(m_confirmation, std::nullopt))
        Confirmation(*confirmation).resume(approved);
}

void AgentSession::stop()
{
    if (m_task)
        m_task->cancel();
    resolve(false);
}

QCoro::Task<> AgentSession::run(QString command)
{
    const QPointer<AgentSession> session(this);
    const std::shared_ptr<Cancellation> task = m_task;
    const bool isReady = co_await makeModelReady();
    if (!session || !isReady)
        co_return;

    QList<ChatMessage> conversation;
    conversation << message(Role::system, systemPrompt())
                 << message(Role::user, u"User: "_s + command + stateLine());
    int unreadableReplies = 0;
    std::optional<AgentAction> lastStep;

    for (int pass = 0; pass < maxSteps && !task->isCancelled(); ++pass) {
        const std::optional<QString> reply = co_await ask(conversation);
        if (!session || !reply)
            co_return;
        if (task->isCancelled())
            break;

        const std::optional<AgentAction> action = AgentAction::parse(*reply);
        if (!action) {
            if (++unreadableReplies == maxUnreadableReplies) {
                fail(u"I couldn't work out a plan for that."_s);
                co_return;
            }
            conversation << message(Role::assistant, *reply)
                         << message(Role::user,
                                    u"Invalid. Reply with exactly one JSON action object."_s);
            continue;
        }
        conversation << message(Role::assistant, reply->trimmed());

        if (action->name == u"done") {
            const QString summary = action->arg(u"message"_s).value_or(u"Done"_s);
            appendLine({.text = summary, .kind = LogEntry::Kind::success});
            finish(summary);
            co_return;
        }
        if (lastStep && lastStep->name == action->name && lastStep->args == action->args) {
            fail(u"Stopped: the same step was repeated."_s);
            co_return;
        }

        const std::optional<QString> outcome = co_await perform(*action, task);
        if (!session || !outcome)
            co_return;
        conversation << message(Role::user, *outcome + stateLine());
        lastStep = action;
    }

    if (task->isCancelled()) {
        appendLine({.text = u"Cancelled"_s, .kind = LogEntry::Kind::info});
        finish();
    } else {
        fail(u"Stopped after too many steps."_s);
    }
}

QCoro::Task<bool> AgentSession::makeModelReady()
{
    // The engine may have lost its model meanwhile: the user chose another one, or the library
    // failed.
    if (m_models.state() == ModelManager::State::loaded() && m_models.engine()->isLoaded())
        co_return true;
    const QPointer<AgentSession> session(this);
    co_await m_models.loadIfNeeded();
    if (!session)
        co_return false;
    if (m_models.state() == ModelManager::State::loaded())
        co_return true;
    fail(u"The local model isn't ready yet."_s);
    co_return false;
}

QCoro::Task<std::optional<QString>> AgentSession::ask(QList<ChatMessage> conversation)
{
    const QPointer<AgentSession> session(this);
    setStatus(u"Thinking…"_s);
    clearPreview();
    const std::shared_ptr<InferenceEngine> engine = m_models.engine();
    // Not created inside the co_await expression: gcc 12 would destroy it twice.
    const InferenceEngine::OnToken onToken = preview();
    std::optional<QString> reply;
    QString sentence;
    try {
        reply = co_await engine->generate(conversation, maxReplyTokens, onToken);
    } catch (const std::exception &failure) {
        sentence = QString::fromUtf8(failure.what());
    }
    if (session && !reply)
        fail(sentence);
    co_return reply;
}

QCoro::Task<std::optional<QString>> AgentSession::perform(AgentAction action,
                                                          CancellationToken task)
{
    const QPointer<AgentSession> session(this);
    LogEntry step{.text = action.title(), .kind = LogEntry::Kind::step, .running = true};
    appendLine(step);
    setStatus(step.text);
    clearPreview();

    std::optional<QString> outcome;
    try {
        const std::optional<Application> front = Executor::frontFor(action);
        const Risk risk = Safety::assess(action, front);
        const bool mayGoOn = co_await approve(step, action, risk);
        if (!session || !mayGoOn)
            co_return outcome;
        const QString result = co_await Executor::run(action, front, task);
        outcome = u"Result: "_s + result;
        step.running = false;
    } catch (const std::exception &failure) {
        // what() ends at a null character, which can be part of a reply; ActionError keeps the
        // whole text.
        const auto *const ours = dynamic_cast<const ActionError *>(&failure);
        const QString sentence = ours ? ours->message : QString::fromUtf8(failure.what());
        outcome = u"Error: "_s + sentence;
        step = {.id = step.id,
                .text = step.text + u" — "_s + sentence,
                .kind = LogEntry::Kind::failure};
    }
    if (session)
        rewriteLine(step);
    co_return outcome;
}

QCoro::Task<bool> AgentSession::approve(LogEntry step, AgentAction action, Risk risk)
{
    if (risk.isSafe())
        co_return true;
    const QPointer<AgentSession> session(this);
    rewriteLine({.id = step.id,
                 .text = u"Waiting for approval: "_s + step.text,
                 .kind = LogEntry::Kind::confirm});
    Confirmation confirmation;
    m_confirmation = confirmation;
    setPending(PendingConfirmation{.action = action, .reason = risk.reason()});
    const bool isApproved = co_await confirmation;
    if (!session)
        co_return false;
    if (isApproved) {
        rewriteLine(step);
    } else {
        rewriteLine(
            {.id = step.id, .text = u"Declined: "_s + step.text, .kind = LogEntry::Kind::failure});
        finish(u"I didn't do that, as requested."_s);
    }
    co_return isApproved;
}

void AgentSession::finish(const std::optional<QString> &summary)
{
    Q_EMIT turnsWillChange();
    m_turns.last().finished = true;
    m_turns.last().summary = summary;
    Q_EMIT turnsChanged();
    setIsRunning(false);
    setStatus({});
    clearPreview();
}

void AgentSession::fail(const QString &sentence)
{
    appendLine({.text = sentence, .kind = LogEntry::Kind::failure});
    finish();
}

void AgentSession::appendLine(LogEntry entry)
{
    Q_EMIT turnsWillChange();
    m_turns.last().log.append(std::move(entry));
    Q_EMIT turnsChanged();
}

void AgentSession::rewriteLine(const LogEntry &entry)
{
    const QList<LogEntry> &log = m_turns.constLast().log;
    const auto line = std::ranges::find(log, entry.id, &LogEntry::id);
    if (line == log.end())
        return;
    const qsizetype index = std::distance(log.begin(), line);
    Q_EMIT turnsWillChange();
    m_turns.last().log[index] = entry;
    Q_EMIT turnsChanged();
}

InferenceEngine::OnToken AgentSession::preview()
{
    return [session = QPointer(this), number = m_previewNumber](const QString &piece) {
        MainThread::post([session, number, piece] {
            if (!session || session->m_previewNumber != number)
                return;
            Q_EMIT session->streamPreviewWillChange();
            session->m_streamPreview += piece;
            Q_EMIT session->streamPreviewChanged();
        });
    };
}

void AgentSession::clearPreview()
{
    ++m_previewNumber;
    Q_EMIT streamPreviewWillChange();
    m_streamPreview.resize(0);
    Q_EMIT streamPreviewChanged();
}

void AgentSession::setStatus(const QString &status)
{
    Q_EMIT statusWillChange();
    m_status = status;
    Q_EMIT statusChanged();
}

void AgentSession::setPending(const std::optional<PendingConfirmation> &pending)
{
    Q_EMIT pendingWillChange();
    m_pending = pending;
    Q_EMIT pendingChanged();
}

void AgentSession::setIsRunning(bool isRunning)
{
    Q_EMIT isRunningWillChange();
    m_isRunning = isRunning;
    Q_EMIT isRunningChanged();
}
