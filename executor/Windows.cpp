#include "executor/Actions.h"
#include "executor/Executor.h"

#include "platform/Platform.h"
#include "platform/Screen.h"

#include <QCoreApplication>
#include <QStringList>

using namespace Qt::StringLiterals;

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
    return title.isEmpty() ? owner : owner + u" — "_s + title;
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
    return entries.isEmpty() ? u"none"_s : entries.join(u"; "_s);
}

QString Executor::observe()
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    const QString name = front ? front->name.value_or(QString()) : QString();
    return u"Frontmost app: "_s + (name.isEmpty() ? u"unknown"_s : name) + u". Windows: "_s +
           windowSummary();
}

QCoro::Task<QString> Executor::Actions::listWindows(AgentAction, CancellationToken)
{
    co_return windowSummary();
}
