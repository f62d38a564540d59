#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "executor/Actions.h"
#include "platform/Platform.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {
using namespace Executor;

struct Entry
{
    QStringView name;
    QCoro::Task<QString> (*perform)(AgentAction, Actions::Context) = nullptr;
    bool isForFront = false;
};

constexpr auto dispatch = std::to_array<Entry>({
    {.name = u"open_app", .perform = Actions::openApp},
    {.name = u"focus_app", .perform = Actions::openApp},
    {.name = u"quit_app", .perform = Actions::quitApp},
    {.name = u"open_url", .perform = Actions::openURL},
    {.name = u"web_search", .perform = Actions::webSearch},
    {.name = u"new_tab", .perform = Actions::newTab, .isForFront = true},
    {.name = u"type_text", .perform = Actions::typeText, .isForFront = true},
    {.name = u"press_key", .perform = Actions::pressKey, .isForFront = true},
    {.name = u"click", .perform = Actions::click, .isForFront = true},
    {.name = u"create_folder", .perform = Actions::createFolder},
    {.name = u"screenshot", .perform = Actions::screenshot},
    {.name = u"find_files", .perform = Actions::findFiles},
    {.name = u"open_path", .perform = Actions::openPath},
    {.name = u"trash", .perform = Actions::trash},
    {.name = u"list_windows", .perform = Actions::listWindows},
    {.name = u"read_ui", .perform = Actions::readUI, .isForFront = true},
    {.name = u"applescript", .perform = Actions::appleScript},
});

// Null if there is no such action.
const Entry *entryFor(const AgentAction &action)
{
    const auto *const entry = std::ranges::find(dispatch, QStringView(action.name), &Entry::name);
    return entry == dispatch.end() ? nullptr : entry;
}
} // namespace

std::optional<Application> Executor::frontFor(const AgentAction &action)
{
    const Entry *const entry = entryFor(action);
    if (!entry || !entry->isForFront)
        return std::nullopt;
    return Platform::current().workspace().frontmostApplication();
}

QCoro::Task<QString> Executor::run(AgentAction action, std::optional<Application> front,
                                   CancellationToken cancellation)
{
    const Entry *const entry = entryFor(action);
    if (!entry)
        throw ActionError(u"Unknown action “"_s + action.name + u"”."_s);
    const Actions::Context context{.front = front, .cancellation = cancellation};
    co_return co_await entry->perform(action, context);
}

QCoro::Task<QString> Executor::run(AgentAction action, CancellationToken cancellation)
{
    const std::optional<Application> front = frontFor(action);
    co_return co_await run(action, front, cancellation);
}

QString Executor::Actions::required(const AgentAction &action, const char *key, const char *message)
{
    const std::optional<QString> value = optional(action, key);
    if (!value)
        throw ActionError(QString::fromLatin1(message));
    return *value;
}

std::optional<QString> Executor::Actions::optional(const AgentAction &action, const char *key)
{
    return action.arg(QString::fromLatin1(key));
}
