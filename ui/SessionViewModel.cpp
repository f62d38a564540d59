#include "ui/SessionViewModel.h"

#include "agent/AgentSession.h"
#include "agent/ShownReason.h"
#include "base/ShownText.h"
#include "ui/PreviewTail.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// A fast model sends thousands of pieces per second; users cannot read more than thirty updates.
constexpr std::chrono::milliseconds previewInterval{33};

// The preview is a single line, whatever the model writes.
QString onOneLine(QString text)
{
    static const QRegularExpression lineEnds(u"[\\n\\v\\f\\r\\x{85}\\x{2028}\\x{2029}]+"_s);
    return text.replace(lineEnds, u" "_s);
}
} // namespace

SessionViewModel::SessionViewModel(AgentSession &session, QObject *parent)
    : QObject(parent), m_session(session)
{
    const auto showTurns = [this] {
        m_turns.setRecords(m_session.turns());
        Q_EMIT turnsChanged();
        tellLines();
    };
    m_turns.setRecords(m_session.turns());
    connect(&m_session, &AgentSession::turnsChanged, this, showTurns);
    connect(&m_session, &AgentSession::isRunningChanged, this, &SessionViewModel::isRunningChanged);
    connect(&m_session, &AgentSession::isRunningChanged, this, &SessionViewModel::statusChanged);
    connect(&m_session, &AgentSession::statusChanged, this, &SessionViewModel::statusChanged);
    connect(&m_session, &AgentSession::pendingChanged, this, &SessionViewModel::pendingChanged);

    m_previewPause.setSingleShot(true);
    m_previewPause.setInterval(previewInterval);
    connect(&m_previewPause, &QTimer::timeout, this, &SessionViewModel::showPreview);
    connect(&m_session, &AgentSession::streamPreviewChanged, this, [this] {
        // A cleared preview belongs to a finished step and is removed at once.
        if (m_session.streamPreview().isEmpty())
            showPreview();
        else if (!m_previewPause.isActive())
            m_previewPause.start();
    });
}

bool SessionViewModel::isRunning() const
{
    return m_session.isRunning();
}

bool SessionViewModel::isStopping() const
{
    return isRunning() && m_session.task() && m_session.task()->isCancelled();
}

QString SessionViewModel::status() const
{
    // Stopping waits for the model's reply or the executor's step.
    return isStopping() ? u"Stopping…"_s : ShownText::plain(m_session.status());
}

bool SessionViewModel::isPending() const
{
    return m_session.pending().has_value();
}

QString SessionViewModel::pendingReason() const
{
    const auto &pending = m_session.pending();
    return pending ? shownReason(*pending) : QString();
}

void SessionViewModel::submit(const QString &text)
{
    m_session.submit(text);
}

void SessionViewModel::stop()
{
    m_session.stop();
    Q_EMIT statusChanged();
}

void SessionViewModel::resolve(bool approved)
{
    m_session.resolve(approved);
}

void SessionViewModel::clearHistory()
{
    m_session.setTurns({});
}

void SessionViewModel::copyTurn(int row) const
{
    const QString text = m_turns.textOf(row);
    if (!text.isEmpty())
        QGuiApplication::clipboard()->setText(text);
}

void SessionViewModel::tellLines()
{
    if (!isRunning() || m_session.turns().isEmpty())
        return;
    QHash<QUuid, QString> lines;
    for (const LogEntry &entry : m_session.turns().last().log) {
        lines.insert(entry.id, entry.text);
        if (m_told.value(entry.id) != entry.text)
            Q_EMIT lineWritten(ShownText::plain(entry.text));
    }
    m_told = lines;
}

void SessionViewModel::showPreview()
{
    m_previewPause.stop();
    QString tail = ShownText::plain(onOneLine(previewTail(m_session.streamPreview())));
    if (tail == m_preview)
        return;
    m_preview = std::move(tail);
    Q_EMIT previewChanged();
}
