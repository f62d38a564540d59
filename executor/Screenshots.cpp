#include "executor/Actions.h"
#include "executor/Executor.h"
#include "executor/Paths.h"

#include "agent/ActionError.h"
#include "platform/Platform.h"
#include "platform/Screen.h"

#include <QCoro/QCoroFuture>

QCoro::Task<void> Executor::screenshot(QString file)
{
    co_await Platform::current().screen().capture(nativePath(file));
    // A missing permission is only told by what is missing.
    if (!somethingExistsAt(file)) {
        throw ActionError(
            QStringLiteral("The screenshot failed. Screen Recording permission may be required."));
    }
}

QString Executor::Actions::screenshotName(const QDateTime &moment)
{
    return QStringLiteral("Screenshot ") +
           moment.toString(QStringLiteral("yyyy-MM-dd 'at' HH.mm.ss")) + QStringLiteral(".png");
}

QCoro::Task<QString> Executor::Actions::screenshot(AgentAction action, Surrounding)
{
    const QString folder =
        optional(action, "save_to")
            .value_or(optional(action, "folder").value_or(QStringLiteral("Downloads")));
    const QString file =
        joined(resolveFolder(folder), screenshotName(QDateTime::currentDateTime()));
    co_await Executor::screenshot(file);
    co_return QStringLiteral("Saved screenshot to ") + file + u'.';
}
