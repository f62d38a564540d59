#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "executor/Actions.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {
using namespace Executor;

struct Entry
{
    QStringView name;
    QCoro::Task<QString> (*perform)(AgentAction, CancellationToken) = nullptr;
};

constexpr auto dispatch = std::to_array<Entry>({
    {u"open_app", Actions::openApp},
    {u"focus_app", Actions::openApp},
    {u"quit_app", Actions::quitApp},
    {u"open_url", Actions::openURL},
    {u"web_search", Actions::webSearch},
    {u"new_tab", Actions::newTab},
    {u"type_text", Actions::typeText},
    {u"press_key", Actions::pressKey},
    {u"click", Actions::click},
    {u"create_folder", Actions::createFolder},
    {u"screenshot", Actions::screenshot},
    {u"find_files", Actions::findFiles},
    {u"open_path", Actions::openPath},
    {u"trash", Actions::trash},
    {u"list_windows", Actions::listWindows},
    {u"read_ui", Actions::readUI},
    {u"applescript", Actions::appleScript},
});
} // namespace

QCoro::Task<QString> Executor::run(AgentAction action, CancellationToken cancellation)
{
    const auto *const entry = std::ranges::find(dispatch, QStringView(action.name), &Entry::name);
    if (entry == dispatch.end())
        throw ActionError(u"Unknown action “"_s + action.name + u"”."_s);
    co_return co_await entry->perform(action, cancellation);
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
