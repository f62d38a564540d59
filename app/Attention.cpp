#include "app/Attention.h"

#include "agent/AgentSession.h"
#include "app/HotKey.h"
#include "base/Text.h"
#include "models/ModelManager.h"
#include "platform/NativeWindow.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>

#include <utility>

using namespace Qt::StringLiterals;

namespace {
Shell &shell()
{
    return Platform::current().shell();
}

// The beginning of a text on one line: a notification may be visible to others.
QString excerpt(const QString &text)
{
    constexpr qsizetype longest = 80;
    const QString line = text.trimmed().section(u'\n', 0, 0).simplified();
    const QString beginning = Text::first(line, longest);
    return beginning == line ? line : beginning + u'…';
}
} // namespace

Attention::Attention(AgentSession &session, ModelManager &models, NativeWindow &window,
                     std::function<void()> show, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_models(models)
    , m_window(window)
    , m_show(std::move(show))
{
    connect(&m_models, &ModelManager::stateChanged, this, &Attention::followDownload);
    connect(&m_session, &AgentSession::isRunningChanged, this, &Attention::followTask);
    connect(&m_session, &AgentSession::pendingChanged, this, &Attention::followQuestion);
    connect(&HotKey::shared(), &HotKey::summonPalette, this, &Attention::withdraw);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive)
                    withdraw();
            });
}

void Attention::windowWasMade()
{
    if (m_session.isRunning())
        shell().keepAbove(m_window, true);
}

void Attention::followTask()
{
    const bool isRunning = m_session.isRunning();
    shell().keepAbove(m_window, isRunning);
    if (isRunning) {
        withdraw();
        return;
    }
    const std::shared_ptr<Cancellation> &task = m_session.task();
    if (task && task->isCancelled())
        return; // the user has stopped it
    const Turn &turn = m_session.turns().last();
    const bool isDone = !turn.log.isEmpty() && turn.log.last().kind == LogEntry::Kind::success;
    call((isDone ? u"Done: "_s : u"Not done: "_s) + excerpt(turn.command), Urgency::news);
}

void Attention::followDownload()
{
    using Case = ModelManager::State::Case;
    switch (m_models.state().kind) {
    case Case::downloading:
        m_isDownloading = true;
        break;
    case Case::needsDownload:
        m_isDownloading = false;
        break;
    case Case::loaded:
        if (std::exchange(m_isDownloading, false))
            call(u"Quillon is ready."_s, Urgency::news);
        break;
    case Case::failed:
        if (std::exchange(m_isDownloading, false))
            call(u"The model could not be downloaded."_s, Urgency::news);
        break;
    case Case::ready:
    case Case::loading:
        break;
    }
}

void Attention::followQuestion()
{
    if (const auto &pending = m_session.pending())
        call(u"Quillon asks: "_s + excerpt(pending->reason), Urgency::question);
    else
        withdraw();
}

void Attention::call(const QString &text, Urgency urgency)
{
    if (shell().isActive() && shell().isVisible(m_window))
        return;
    shell().requestAttention(m_window, urgency);
    Notifier *const notifier = shell().notifier();
    if (!notifier || shell().isVisible(m_window))
        return;
    notifier->notify(text, urgency, m_show);
    m_hasNotified = true;
}

void Attention::withdraw()
{
    if (std::exchange(m_hasNotified, false))
        shell().notifier()->withdraw();
}
