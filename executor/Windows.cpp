#include "executor/Actions.h"
#include "executor/Executor.h"

#include "platform/Platform.h"
#include "platform/Screen.h"

#include <QCoreApplication>
#include <QStringList>

namespace {
// As many as the model can make use of.
constexpr qsizetype maxEntries = 8;

// What stands for the window in the list; nothing where it is not to be listed.
std::optional<QString> entryFor(const WindowInfo &window)
{
    const QString owner = window.ownerName.value_or(QString());
    const QString title = window.title.value_or(QString());
    if (window.layer != 0 || owner.isEmpty() ||
        window.owner == ProcessId{QCoreApplication::applicationPid()})
        return std::nullopt;
    return title.isEmpty() ? owner : owner + QStringLiteral(" — ") + title;
}
} // namespace

QString Executor::windowSummary()
{
    QStringList entries;
    for (const WindowInfo &window :
         Platform::current().screen().windows().value_or(QList<WindowInfo>())) {
        if (entries.size() == maxEntries)
            break;
        const std::optional<QString> entry = entryFor(window);
        if (entry && !entries.contains(*entry))
            entries.append(*entry);
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
