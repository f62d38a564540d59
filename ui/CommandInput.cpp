#include "ui/CommandInput.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
// Enough to find yesterday's task, and a limit to the memory.
constexpr qsizetype mostRemembered = 100;

const QRegularExpression &lineEnds()
{
    static const QRegularExpression ends(u"\\s*[\\n\\v\\f\\r\\x{85}\\x{2028}\\x{2029}]\\s*"_s);
    return ends;
}
} // namespace

void CommandInput::setSession(SessionViewModel *session)
{
    if (m_session == session)
        return;
    m_session = session;
    if (session != nullptr) {
        // Clearing the history also forgets its tasks.
        connect(session, &SessionViewModel::turnsChanged, this, [this] {
            if (m_session->hasTurns())
                return;
            m_sent.clear();
            m_place = 0;
        });
    }
    Q_EMIT sessionChanged();
}

void CommandInput::setModels(ModelsViewModel *models)
{
    if (m_models == models)
        return;
    m_models = models;
    if (models != nullptr)
        connect(models, &ModelsViewModel::stateChanged, this, &CommandInput::canSendChanged);
    Q_EMIT modelsChanged();
    Q_EMIT canSendChanged();
}

void CommandInput::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    Q_EMIT textChanged();
    Q_EMIT canSendChanged();
}

bool CommandInput::canSend() const
{
    return m_models && m_models->isLoaded() && !m_text.trimmed().isEmpty();
}

QStringList CommandInput::suggestions()
{
    return {u"Open Safari and search Google for MacBook Air"_s,
            u"Open Finder and create a folder called Projects"_s,
            u"Take a screenshot and save it to Downloads"_s,
            u"Open my Downloads folder and find the latest PDF"_s};
}

void CommandInput::send()
{
    if (!m_session || !m_models || !m_models->isLoaded())
        return;
    const QString text = m_text;
    if (!text.trimmed().isEmpty() && (m_sent.isEmpty() || m_sent.last() != text)) {
        m_sent.append(text);
        if (m_sent.size() > mostRemembered)
            m_sent.removeFirst();
    }
    m_place = m_sent.size();
    setText({});
    m_session->submit(text);
}

void CommandInput::recallEarlier()
{
    if (isDraft()) {
        m_draft = m_text;
        m_place = m_sent.size();
    }
    recall(m_place - 1);
}

void CommandInput::recallLater()
{
    if (!isDraft())
        recall(m_place + 1);
}

QString CommandInput::droppedPaths(const QList<QUrl> &urls)
{
    QStringList paths;
    for (const QUrl &url : urls) {
        QString path = url.isLocalFile() ? url.toLocalFile() : QString();
        // A folder's address may end with one.
        while (path.size() > 1 && path.endsWith(u'/'))
            path.chop(1);
        if (!path.isEmpty())
            paths << path.replace(lineEnds(), u" "_s);
    }
    return paths.join(u' ');
}

QString CommandInput::clipboardLine()
{
    QString text = QGuiApplication::clipboard()->text();
    // A copied line ends with a line feed.
    while (!text.isEmpty() && (text.endsWith(u'\n') || text.endsWith(u'\r')))
        text.chop(1);
    return text.replace(lineEnds(), u" "_s);
}

void CommandInput::recall(qsizetype place)
{
    if (place < 0 || place > m_sent.size())
        return;
    m_place = place;
    setText(place == m_sent.size() ? m_draft : m_sent.at(place));
}

// A recalled task that was changed is a draft too.
bool CommandInput::isDraft() const
{
    return m_place == m_sent.size() || m_text != m_sent.at(m_place);
}
