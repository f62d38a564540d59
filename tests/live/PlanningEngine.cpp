#include "tests/live/PlanningEngine.h"

#include <QCoro/QCoroTimer>
#include <QTimer>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {
// The time of a small model for a step.
constexpr std::chrono::milliseconds thinking{300};
constexpr int mostRetries = 3;

bool asksForPatience(const QString &told)
{
    return told.startsWith(u"Error: ") &&
           (told.contains(u"hasn't shown a window yet") ||
            told.contains(u"didn't come to the front") || told.contains(u"doesn't respond"));
}
} // namespace

void PlanningEngine::plan(const QStringList &steps)
{
    m_steps = steps;
    m_next = 0;
    m_looksAround = false;
    m_retries = 0;
}

QCoro::Task<QString> PlanningEngine::generate(QList<ChatMessage> conversation, int, OnToken onToken)
{
    QTimer pace;
    pace.setSingleShot(true);
    pace.start(thinking);
    co_await pace;
    const QString said = reply(conversation.constLast().content);
    onToken(said);
    co_return said;
}

QString PlanningEngine::reply(const QString &told)
{
    // The same step twice in a row would end the task.
    if (m_next > 0 && !m_looksAround && asksForPatience(told) && m_retries < mostRetries) {
        m_looksAround = true;
        ++m_retries;
        return uR"({"action":"list_windows"})"_s;
    }
    if (m_looksAround) {
        m_looksAround = false;
        return m_steps[m_next - 1];
    }
    // Without the application, the other steps would act on another one.
    if (m_next < m_steps.size() && !asksForPatience(told))
        return m_steps[m_next++];
    return uR"({"action":"done","message":"Done."})"_s;
}
