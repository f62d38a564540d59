#include "agent/AgentSession.h"

#include "agent/Safety.h"
#include "agent/SystemPrompt.h"
#include "agent/action/ActionError.h"
#include "base/MainThread.h"
#include "executor/Executor.h"
#include "models/ModelManager.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"

#include <QPointer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
/// Room for one JSON action, and a bound on how long a small model keeps the user waiting.
constexpr int maxReplyTokens = 200;
/// Small models drift from the format; one that does so three times in a turn has no plan.
constexpr int maxUnreadableReplies = 3;

ChatMessage message(Role role, const QString &content)
{
    return {.role = role, .content = content};
}

QString stateLine()
{
    return u"\nState: "_s + Executor::observe();
}

std::optional<ProcessId> frontProcess()
{
    const auto front = Platform::current().workspace().frontmostApplication();
    return front ? std::optional(front->pid) : std::nullopt;
}

// Of the actions that are asked about, those that go to whatever is in front.
bool goesToFront(const AgentAction &action)
{
    return action.name == u"click" || action.name == u"press_key";
}
} // namespace

AgentSession::AgentSession(ModelManager &models, QObject *parent)
    : QObject(parent), m_models(models)
{
}

AgentSession::~AgentSession()
{
    // A loop that waits for the user goes on once more, finds no session, and ends.
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
            session->m_loop = session->run(command, session->m_turns.size() - 1);
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

QCoro::Task<> AgentSession::run(QString command, qsizetype turnIndex)
{
    const QPointer<AgentSession> session(this);
    const std::shared_ptr<Cancellation> task = m_task;

    // The engine may have lost its model since: to another choice while it was at work, or to a
    // failure inside the library.
    if (m_models.state() != ModelManager::State::loaded() || !m_models.engine()->isLoaded()) {
        co_await m_models.loadIfNeeded();
        if (!session)
            co_return;
        if (m_models.state() != ModelManager::State::loaded()) {
            fail(turnIndex, u"The local model isn't ready yet."_s);
            co_return;
        }
    }

    const std::shared_ptr<InferenceEngine> engine = m_models.engine();
    QList<ChatMessage> conversation;
    conversation << message(Role::system, systemPrompt())
                 << message(Role::user, u"User: "_s + command + stateLine());
    int unreadableReplies = 0;
    std::optional<AgentAction> lastStep;

    for (int pass = 0; pass < maxSteps && !task->isCancelled(); ++pass) {
        setStatus(u"Thinking…"_s);
        clearPreview();
        // Made outside of the co_await: gcc 12 destroys a callable that is made in one twice.
        const InferenceEngine::OnToken onToken = preview();
        QString reply;
        std::optional<QString> error;
        try {
            reply = co_await engine->generate(conversation, maxReplyTokens, onToken);
        } catch (const std::exception &failure) {
            error = QString::fromUtf8(failure.what());
        }
        if (!session)
            co_return;
        if (error) {
            fail(turnIndex, *error);
            co_return;
        }
        if (task->isCancelled())
            break;

        const std::optional<AgentAction> action = AgentAction::parse(reply);
        if (!action) {
            if (++unreadableReplies == maxUnreadableReplies) {
                fail(turnIndex, u"I couldn't work out a plan for that."_s);
                co_return;
            }
            conversation << message(Role::assistant, reply)
                         << message(Role::user,
                                    u"Invalid. Reply with exactly one JSON action object."_s);
            continue;
        }
        conversation << message(Role::assistant, reply.trimmed());

        if (action->name == u"done") {
            const QString summary = action->arg(u"message"_s).value_or(u"Done"_s);
            appendLine(turnIndex, {.text = summary, .kind = LogEntry::Kind::success});
            finish(turnIndex, summary);
            co_return;
        }
        if (lastStep && lastStep->name == action->name && lastStep->args == action->args) {
            fail(turnIndex, u"Stopped: the same step was repeated."_s);
            co_return;
        }

        const QString title = action->title();
        const LogEntry step{.text = title, .kind = LogEntry::Kind::step, .running = true};
        appendLine(turnIndex, step);
        setStatus(title);
        clearPreview();

        const auto front = goesToFront(*action) ? frontProcess() : std::nullopt;
        const Risk risk = Safety::assess(*action);
        if (!risk.isSafe()) {
            rewriteLine(turnIndex, step.id, u"Waiting for approval: "_s + title,
                        LogEntry::Kind::confirm, false);
            Confirmation confirmation;
            m_confirmation = confirmation;
            setPending(PendingConfirmation{.action = *action, .reason = risk.reason()});
            const bool approved = co_await confirmation;
            if (!session)
                co_return;
            if (!approved) {
                rewriteLine(turnIndex, step.id, u"Declined: "_s + title, LogEntry::Kind::failure,
                            false);
                finish(turnIndex, u"I didn't do that, as requested."_s);
                co_return;
            }
            rewriteLine(turnIndex, step.id, title, LogEntry::Kind::step, true);
        }

        QString result;
        try {
            // What was found safe, or was approved, was so for that application.
            if (goesToFront(*action) && frontProcess() != front)
                throw ActionError(u"Another application has come to the front meanwhile."_s);
            result = co_await Executor::run(*action, task);
        } catch (const ActionError &failure) {
            error = failure.message; // what() ends at a null character, which a reply can hold.
        } catch (const std::exception &failure) {
            error = QString::fromUtf8(failure.what());
        }
        if (!session)
            co_return;
        if (error) {
            rewriteLine(turnIndex, step.id, title + u" — "_s + *error, LogEntry::Kind::failure,
                        false);
            conversation << message(Role::user, u"Error: "_s + *error + stateLine());
        } else {
            rewriteLine(turnIndex, step.id, title, LogEntry::Kind::step, false);
            conversation << message(Role::user, u"Result: "_s + result + stateLine());
        }
        lastStep = action;
    }

    if (task->isCancelled()) {
        appendLine(turnIndex, {.text = u"Cancelled"_s, .kind = LogEntry::Kind::info});
        finish(turnIndex);
    } else {
        fail(turnIndex, u"Stopped after too many steps."_s);
    }
}

void AgentSession::finish(qsizetype turnIndex, const std::optional<QString> &summary)
{
    Q_EMIT turnsWillChange();
    m_turns[turnIndex].finished = true;
    m_turns[turnIndex].summary = summary;
    Q_EMIT turnsChanged();
    setIsRunning(false);
    setStatus({});
    clearPreview();
}

void AgentSession::fail(qsizetype turnIndex, const QString &sentence)
{
    appendLine(turnIndex, {.text = sentence, .kind = LogEntry::Kind::failure});
    finish(turnIndex);
}

void AgentSession::appendLine(qsizetype turnIndex, LogEntry entry)
{
    Q_EMIT turnsWillChange();
    m_turns[turnIndex].log.append(std::move(entry));
    Q_EMIT turnsChanged();
}

void AgentSession::rewriteLine(qsizetype turnIndex, const QUuid &id, const QString &text,
                               LogEntry::Kind kind, bool running)
{
    const QList<LogEntry> &log = m_turns.at(turnIndex).log;
    const auto line = std::ranges::find(log, id, &LogEntry::id);
    if (line == log.end())
        return;
    const qsizetype index = std::distance(log.begin(), line);
    Q_EMIT turnsWillChange();
    m_turns[turnIndex].log[index] = {.id = id, .text = text, .kind = kind, .running = running};
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
