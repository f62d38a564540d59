#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "base/Text.h"
#include "executor/Actions.h"
#include "executor/Pause.h"
#include "platform/Platform.h"

#include <QCoro/QCoroFuture>
#include <QMap>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
using namespace Executor;

// Common short names, and the names under which the applications are installed.
const QMap<QString, QString> &aliases()
{
    static const QMap<QString, QString> table{
        {u"vscode"_s, u"Visual Studio Code"_s},
        {u"vs code"_s, u"Visual Studio Code"_s},
        {u"code"_s, u"Visual Studio Code"_s},
        {u"chrome"_s, u"Google Chrome"_s},
        {u"brave"_s, u"Brave Browser"_s},
        {u"word"_s, u"Microsoft Word"_s},
        {u"excel"_s, u"Microsoft Excel"_s},
        {u"settings"_s, u"System Settings"_s},
        {u"system preferences"_s, u"System Settings"_s},
        {u"terminal"_s, u"Terminal"_s},
    };
    return table;
}

QString aliasTarget(const QString &name)
{
    return Text::folded(aliases().value(name.toLower(), name));
}

bool isCalled(const InstalledApplication &application, const QString &target)
{
    return std::ranges::any_of(application.names,
                               [&](const QString &name) { return Text::folded(name) == target; });
}

bool isCalledLike(const InstalledApplication &application, const QString &target)
{
    return std::ranges::any_of(application.names, [&](const QString &name) {
        return Text::folded(name).contains(target);
    });
}

struct Installed
{
    std::optional<QString> exact;
    std::optional<QString> partial; ///< The first one only.
};

// An exact match in any folder has precedence over every partial one.
Installed findInstalled(const QString &target)
{
    Workspace &workspace = Platform::current().workspace();
    Installed found;
    for (const QString &folder : workspace.applicationFolders()) {
        for (const InstalledApplication &application : workspace.applicationsIn(folder)) {
            if (isCalled(application, target)) {
                found.exact = application.location;
                return found;
            }
            if (!found.partial && isCalledLike(application, target))
                found.partial = application.location;
        }
    }
    return found;
}

// This desktop's counterpart of an application of another system, such as its file manager for
// "Finder", unless an application of exactly that name is installed.
std::optional<QString> counterpartLocation(const QString &target)
{
    const std::optional<QString> location = Platform::current().workspace().counterpart(target);
    return location && !findInstalled(target).exact ? location : std::nullopt;
}

std::optional<Application> runningCounterpart(const QString &name)
{
    Workspace &workspace = Platform::current().workspace();
    const std::optional<QString> location = workspace.counterpart(aliasTarget(name));
    if (!location)
        return std::nullopt;
    for (const Application &each : workspace.runningApplications()) {
        if (each.policy == ActivationPolicy::regular && each.location == location)
            return each;
    }
    return std::nullopt;
}
} // namespace

std::optional<Application> Executor::runningApp(const QString &name)
{
    const QString written = Text::folded(name);
    const QString target = aliasTarget(name);
    QList<Application> candidates = Platform::current().workspace().runningApplications();
    candidates.removeIf(
        [](const Application &each) { return each.policy != ActivationPolicy::regular; });
    const auto first = [&](auto &&matches) -> std::optional<Application> {
        const auto found = std::ranges::find_if(candidates, matches);
        return found == candidates.end() ? std::nullopt : std::optional(*found);
    };
    const auto foldedName = [](const Application &each) {
        return Text::folded(each.name.value_or(QString()));
    };

    if (auto exact = first([&](const Application &each) { return foldedName(each) == target; }))
        return exact;
    if (const std::optional<QString> location = counterpartLocation(target)) {
        if (auto same = first([&](const Application &each) { return each.location == location; }))
            return same;
    }
    // Partial matches use the name as written, not what it is an alias for.
    return first([&](const Application &each) { return foldedName(each).contains(written); });
}

std::optional<QString> Executor::appURL(const QString &name)
{
    const QString target = aliasTarget(name);
    const std::optional<Application> running = runningApp(name);
    if (running && running->location)
        return running->location;
    const Installed installed = findInstalled(target);
    if (installed.exact)
        return installed.exact;
    if (std::optional<QString> counterpart = Platform::current().workspace().counterpart(target))
        return counterpart;
    return installed.partial;
}

QString Executor::Actions::requiredApp(const QString &name)
{
    const std::optional<QString> location = appURL(name);
    if (!location)
        throw ActionError(u"Couldn't find an app called “"_s + name + u"”."_s);
    return *location;
}

QCoro::Task<QString> Executor::launch(QString name, CancellationToken cancellation)
{
    const QString location = Actions::requiredApp(name);
    co_await completion(Platform::current().workspace().launch(location), cancellation);
    co_await pause(launchSettle, cancellation);
    co_return Platform::current().workspace().displayName(location);
}

QCoro::Task<QString> Executor::Actions::openApp(AgentAction action, Context context)
{
    const QString app = required(action, "app", "Missing app name.");
    const QString displayName = co_await launch(app, context.cancellation);
    co_return displayName + u" is now frontmost."_s;
}

QCoro::Task<QString> Executor::Actions::quitApp(AgentAction action, Context context)
{
    const QString app = required(action, "app", "Missing app name.");
    std::optional<Application> running = runningApp(app);
    // The application of that name is not running, so its running counterpart is meant.
    if (!running)
        running = runningCounterpart(app);
    if (!running)
        co_return app + u" is not running."_s;
    Platform::current().workspace().terminate(running->pid);
    co_await pause(quitGrace, context.cancellation);
    if (Platform::current().workspace().hasTerminated(running->pid))
        co_return app + u" quit."_s;
    co_return u"Asked "_s + app + u" to quit (it may be waiting on a save prompt)."_s;
}
