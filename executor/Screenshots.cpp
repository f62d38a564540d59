#include "executor/Actions.h"
#include "executor/Executor.h"
#include "executor/Paths.h"

#include "agent/action/ActionError.h"
#include "platform/Platform.h"
#include "platform/Screen.h"

#include <QCoro/QCoroFuture>

#include <filesystem>
#include <system_error>

using namespace Qt::StringLiterals;
using namespace Executor;

namespace {
// The capture would overwrite the target of a symbolic link at that path.
void checkIsNoLink(const QString &file)
{
    std::error_code error;
    if (std::filesystem::is_symlink(std::filesystem::symlink_status(nativePath(file), error))) {
        throw ActionError(u"The screenshot isn't saved: “"_s + lastPathComponent(file) +
                          u"” is a link to another place."_s);
    }
}
} // namespace

QCoro::Task<void> Executor::screenshot(QString file)
{
    checkIsNoLink(file);
    co_await Platform::current().screen().capture(nativePath(file));
    // A missing permission is not reported; the file is merely absent.
    if (!somethingExistsAt(file)) {
        throw ActionError(u"The screenshot failed. Screen Recording permission may be required."_s);
    }
}

QString Executor::Actions::screenshotName(const QDateTime &moment)
{
    return u"Screenshot "_s + moment.toString(u"yyyy-MM-dd 'at' HH.mm.ss"_s) + u".png"_s;
}

QCoro::Task<QString> Executor::Actions::screenshot(AgentAction action, Context)
{
    const QString folder =
        optional(action, "save_to").value_or(optional(action, "folder").value_or(u"Downloads"_s));
    const QString file =
        joined(resolveFolder(folder), screenshotName(QDateTime::currentDateTime()));
    co_await Executor::screenshot(file);
    co_return u"Saved screenshot to "_s + file + u'.';
}
