#include "executor/Actions.h"
#include "executor/Executor.h"

#include "platform/Platform.h"
#include "platform/Screen.h"

#include <QCoreApplication>
#include <QStringList>

namespace {
// As many as the model can make use of.
constexpr qsizetype maxEntries = 8;

bool isListed(const WindowInfo &window)
{
    return window.layer == 0 && window.owner != ProcessId{QCoreApplication::applicationPid()} &&
           window.ownerName && !window.ownerName->isEmpty();
}

QString entryFor(const WindowInfo &window)
{
    const QString title = window.title.value_or(QString());
    return title.isEmpty() ? *window.ownerName : *window.ownerName + QStringLiteral(" — ") + title;
}
} // namespace

QString Executor::windowSummary()
{
    QStringList entries;
    for (const WindowInfo &window :
         Platform::current().screen().windows().value_or(QList<WindowInfo>())) {
        if (entries.size() == maxEntries)
            break;
        if (!isListed(window))
            continue;
        const QString entry = entryFor(window);
        if (!entries.contains(entry))
            entries.append(entry);
    }
    return entries.isEmpty() ? QStringLiteral("none") : entries.join(QStringLiteral("; "));
}

QString Executor::observe()
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    const QString name = front ? front->name.value_or(QString()) : QString();
    return QStringLiteral("Frontmost app: ") + (name.isEmpty() ? QStringLiteral("unknown") : name) +
           QStringLiteral(". Windows: ") + windowSummary();
}

QCoro::Task<QString> Executor::Actions::listWindows(AgentAction, Surrounding)
{
    co_return windowSummary();
}
