#include "app/TerminalRunner.h"

#include "agent/ShownReason.h"
#include "models/SmallModel.h"

#include <QCoro/QCoroFuture>
#include <QScopeGuard>

#include <nlohmann/json.hpp>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
using StateCase = ModelManager::State::Case;

constexpr int exitDone = 0;
constexpr int exitFailed = 1;

QString mark(LogEntry::Kind kind)
{
    switch (kind) {
    case LogEntry::Kind::step:
        return u"✓"_s;
    case LogEntry::Kind::success:
        return u"✔"_s;
    case LogEntry::Kind::failure:
        return u"✗"_s;
    case LogEntry::Kind::info:
    case LogEntry::Kind::confirm:
        return u"·"_s;
    }
    Q_UNREACHABLE();
}

// The names under which scripts find the lines; they stay as they are.
QString kindName(LogEntry::Kind kind)
{
    switch (kind) {
    case LogEntry::Kind::step:
        return u"step"_s;
    case LogEntry::Kind::success:
        return u"success"_s;
    case LogEntry::Kind::failure:
        return u"failure"_s;
    case LogEntry::Kind::info:
        return u"info"_s;
    case LogEntry::Kind::confirm:
        return u"confirm"_s;
    }
    Q_UNREACHABLE();
}

// Every character beyond ASCII is escaped, so that a terminal obeys nothing of it either.
QByteArray record(const QString &kind, const QString &text)
{
    const nlohmann::ordered_json object = {{"kind", kind.toStdString()},
                                           {"text", text.toStdString()}};
    return QByteArray::fromStdString(object.dump(-1, ' ', true));
}

QString bar(double progress)
{
    constexpr int cells = 24;
    const int filled = static_cast<int>(progress * cells);
    return QString(filled, u'█') + QString(cells - filled, u'░');
}

// The text of a running step may still change.
bool isSettled(const LogEntry &entry)
{
    return !entry.running && entry.kind != LogEntry::Kind::confirm;
}
} // namespace

TerminalRunner::TerminalRunner(ModelManager &models, AgentSession &session, Terminal &terminal,
                               Form form, QObject *parent)
    : QObject(parent), m_models(models), m_session(session), m_terminal(terminal), m_form(form)
{
    connect(&m_models, &ModelManager::stateChanged, this, &TerminalRunner::showDownload);
    connect(&m_models, &ModelManager::stateChanged, this, &TerminalRunner::announceChange);
    connect(&m_session, &AgentSession::isRunningChanged, this, &TerminalRunner::announceChange);
    connect(&m_session, &AgentSession::turnsChanged, this, &TerminalRunner::printSettledLines);
    connect(&m_session, &AgentSession::statusChanged, this, &TerminalRunner::showActivity);
    connect(&m_session, &AgentSession::pendingChanged, this, &TerminalRunner::askForApproval);
    connect(&m_terminal, &Terminal::answered, this, &TerminalRunner::takeAnswer);
}

QCoro::Task<int> TerminalRunner::run(QString task)
{
    // Input that was typed meanwhile must not reach the shell.
    const auto end = qScopeGuard([this] { m_terminal.dropInput(); });
    if (task.trimmed().isEmpty()) {
        m_terminal.printError(u"The task is empty."_s);
        co_return exitFailed;
    }
    const bool isReady = co_await makeModelReady();
    if (m_stopStatus)
        co_return *m_stopStatus;
    if (!isReady) {
        m_terminal.printError(m_models.selected().name + u" isn't ready: "_s +
                              m_models.state().message);
        if (m_downloadIsAnnounced && SmallModel::file()) {
            m_terminal.printError(
                u"%1 came along and needs no download: try it with --small."_s.arg(
                    SmallModel::model().name));
        }
        co_return exitFailed;
    }

    m_session.submit(task);
    const QString command = m_session.turns().last().command;
    print(u"task"_s, command, command);
    while (m_session.isRunning())
        co_await nextChange();

    const Turn &turn = m_session.turns().last();
    const LogEntry &ending = turn.log.last();
    if (turn.summary && ending.text != *turn.summary)
        print(u"summary"_s, *turn.summary, *turn.summary);
    if (m_stopStatus)
        co_return *m_stopStatus;
    co_return ending.kind == LogEntry::Kind::success ? exitDone : exitFailed;
}

void TerminalRunner::stop(int exitStatus)
{
    m_stopStatus = exitStatus;
    m_terminal.showStatus(u"Stopping…"_s);
    if (m_models.state().kind == StateCase::downloading) {
        m_models.cancelTask();
        m_models.refresh();
    }
    m_session.stop();
}

QCoro::Task<bool> TerminalRunner::makeModelReady()
{
    m_terminal.showStatus(u"Loading model…"_s);
    if (m_models.state().kind == StateCase::needsDownload)
        m_models.download();
    else
        co_await m_models.loadIfNeeded();

    // A finished download loads the model by itself.
    const auto isBusy = [this] {
        const StateCase kind = m_models.state().kind;
        return kind == StateCase::downloading || kind == StateCase::ready ||
               kind == StateCase::loading;
    };
    while (isBusy() && !m_stopStatus)
        co_await nextChange();
    m_terminal.showStatus({});
    co_return m_models.state().kind == StateCase::loaded;
}

// Not QCoro's own await of a signal: in 0.8, it resumes once per emission, also a coroutine that
// has already continued or was destroyed.
QFuture<void> TerminalRunner::nextChange()
{
    m_change.emplace();
    m_change->start();
    return m_change->future();
}

void TerminalRunner::announceChange()
{
    if (auto change = std::exchange(m_change, std::nullopt))
        change->finish();
}

void TerminalRunner::showDownload()
{
    if (m_models.state().kind != StateCase::downloading)
        return;
    const LocalModel &model = m_models.selected();
    const double progress = m_models.state().progress;
    if (!m_downloadIsAnnounced) {
        m_terminal.printError(
            u"Downloading %1 (~%2 MB), once."_s.arg(model.name, QString::number(model.sizeMB)));
        m_downloadIsAnnounced = true;
    }
    m_terminal.showStatus(
        u"%1 %2% of ~%3 MB"_s.arg(bar(progress), QString::number(static_cast<int>(progress * 100)),
                                  QString::number(model.sizeMB)));
}

void TerminalRunner::showActivity()
{
    m_terminal.showStatus(m_session.status());
}

void TerminalRunner::printSettledLines()
{
    if (m_session.turns().isEmpty())
        return;
    const QList<LogEntry> &log = m_session.turns().last().log;
    while (m_printedLines < log.size() && isSettled(log[m_printedLines])) {
        const LogEntry &entry = log[m_printedLines++];
        print(kindName(entry.kind), entry.text, u"  "_s + mark(entry.kind) + u' ' + entry.text);
    }
}

void TerminalRunner::print(const QString &kind, const QString &text, const QString &shown)
{
    if (m_form == Form::text)
        m_terminal.print(shown);
    else
        m_terminal.printRecord(record(kind, text));
}

void TerminalRunner::askForApproval()
{
    const auto &pending = m_session.pending();
    if (!pending) {
        m_terminal.withdrawQuestion();
        return;
    }
    const QString reason = shownReason(*pending);
    const QString question = u"  ? "_s + reason + u" [y/N] "_s;
    if (m_form == Form::records)
        m_terminal.printRecord(record(kindName(LogEntry::Kind::confirm), reason));
    if (m_terminal.canAsk()) {
        m_terminal.ask(question);
        return;
    }
    if (m_form == Form::text)
        m_terminal.print(question + u"— no terminal to ask on"_s);
    m_session.resolve(false);
}

void TerminalRunner::takeAnswer(const QString &line)
{
    const QString answer = line.trimmed().toLower();
    m_session.resolve(answer == u"y" || answer == u"yes");
}
