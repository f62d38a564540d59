#include "executor/Actions.h"
#include "executor/Executor.h"
#include "executor/Paths.h"
#include "executor/Pause.h"

#include "agent/action/ActionError.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"

#include <QCoro/QCoroFuture>
#include <QUrl>

#include <system_error>

using namespace Qt::StringLiterals;

namespace {
// Creates the folder and all missing parents. An existing folder is fine, a file is a failure.
void createDirectories(const std::filesystem::path &folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (!error && !std::filesystem::is_directory(folder, error) && !error)
        error = std::make_error_code(std::errc::file_exists);
    if (error)
        throw PlatformError(QString::fromStdString(error.message()));
}

// QUrl would read what follows two slashes as a host name.
QUrl fileAddress(QString path)
{
    while (path.startsWith(u"//"))
        path.remove(0, 1);
    return QUrl::fromLocalFile(path);
}
} // namespace

QCoro::Task<QString> Executor::Actions::createFolder(AgentAction action, Context)
{
    const QString name = required(action, "name", "Missing folder name.");
    const QString parent =
        optional(action, "in").value_or(optional(action, "location").value_or(u"Desktop"_s));
    const QString path = joined(resolveFolder(parent), name);
    const std::filesystem::path folder = nativePath(path);
    createDirectories(folder);
    Platform::current().workspace().reveal(folder);
    co_return u"Created folder at "_s + path + u'.';
}

QCoro::Task<QString> Executor::Actions::openPath(AgentAction action, Context context)
{
    const QString text = required(action, "path", "Missing path.");
    const QString path = resolveFolder(text);
    if (!somethingExistsAt(path))
        throw ActionError(u"Nothing exists at "_s + text + u'.');
    co_await completion(Platform::current().workspace().open(fileAddress(path)),
                        context.cancellation);
    co_return u"Opened "_s + lastPathComponent(path) + u'.';
}

QCoro::Task<QString> Executor::Actions::trash(AgentAction action, Context)
{
    const QString path = resolveFolder(required(action, "path", "Missing path."));
    Platform::current().workspace().trash(nativePath(path));
    co_return u"Moved "_s + lastPathComponent(path) + u" to the Trash."_s;
}
