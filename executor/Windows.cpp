#include "executor/Actions.h"
#include "executor/Executor.h"

#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/Screen.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {
// More do not help the model.
constexpr qsizetype maxEntries = 8;

// The window's entry in the list; nothing if it is not listed.
std::optional<QString> entryFor(const WindowInfo &window, const std::set<ProcessId> &ours)
{
    const QString owner = window.ownerName.value_or(QString());
    const QString title = window.title.value_or(QString());
    if (window.layer != 0 || owner.isEmpty() || (window.owner && ours.contains(*window.owner)))
        return std::nullopt;
    return title.isEmpty() ? owner : owner + u" — "_s + title;
}

// Empty also if the desktop does not answer.
QString frontName()
{
    try {
        return Platform::current()
            .workspace()
            .frontmostApplication()
            .value_or(Application())
            .name.value_or(QString());
    } catch (const PlatformError &) {
        return {};
    }
}
} // namespace

QString Executor::windowSummary()
{
    const std::set<ProcessId> ours = Platform::current().workspace().ownProcesses();
    QStringList entries;
    for (const WindowInfo &window :
         Platform::current().screen().windows().value_or(QList<WindowInfo>())) {
        if (entries.size() == maxEntries)
            break;
        const std::optional<QString> entry = entryFor(window, ours);
        if (entry && !entries.contains(*entry))
            entries.append(*entry);
    }
    return entries.isEmpty() ? u"none"_s : entries.join(u"; "_s);
}

QString Executor::observe()
{
    const QString name = frontName();
    return u"Frontmost app: "_s + (name.isEmpty() ? u"unknown"_s : name) + u". Windows: "_s +
           windowSummary();
}

QCoro::Task<QString> Executor::Actions::listWindows(AgentAction, Context)
{
    co_return windowSummary();
}
