// The input is a model's reply: parsing must end, and a parsed action must fulfil AgentAction's
// promises.
#include "agent/action/AgentAction.h"
#include "fuzz/Require.h"

#include <nlohmann/json.hpp>

#include <cstdint>

using namespace Qt::StringLiterals;

namespace {
bool sameButForId(const std::optional<AgentAction> &a, const std::optional<AgentAction> &b)
{
    if (!a || !b)
        return !a && !b;
    return a->name == b->name && a->args == b->args && a->id != b->id;
}

// The action as a reply in the requested format.
QString written(const AgentAction &action)
{
    nlohmann::json object{{"action", action.name.toStdString()}};
    for (const auto &[key, value] : action.args.asKeyValueRange())
        object[key.toStdString()] = value.toStdString();
    return QString::fromStdString(object.dump());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString reply =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::optional<AgentAction> action = AgentAction::parse(reply);

    require(sameButForId(AgentAction::parse(reply), action), "the same text, the same action");
    if (!action)
        return 0;

    const QString surrounded = u"Well } then: "_s + reply + u" {\"action\":\"done\"}"_s;
    require(sameButForId(AgentAction::parse(surrounded), action),
            "prose around the object changes nothing");
    require(!action->id.isNull(), "every action has an identity");
    require(action->name == action->name.toLower(), "names are in lower case");
    for (const char *key : {"action", "name", "tool"})
        require(!action->args.contains(QString::fromLatin1(key)), "no key of a name in arguments");
    for (const auto &[key, value] : action->args.asKeyValueRange()) {
        const std::optional<QString> argument = action->arg(key);
        require(argument.value_or(QString()) == value.trimmed(), "arguments are read trimmed");
        require(!argument || !argument->isEmpty(), "a blank argument is an absent one");
    }
    static_cast<void>(action->title());
    require(sameButForId(AgentAction::parse(written(*action)), action),
            "what was understood can be written and read again");
    return 0;
}
