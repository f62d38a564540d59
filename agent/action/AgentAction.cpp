#include "agent/action/AgentAction.h"

#include "agent/action/ReplyObject.h"
#include "base/Text.h"

using namespace Qt::StringLiterals;

namespace {
// The text from the first opening brace to the matching one; braces inside strings do not count.
// Empty if there is no matching one.
QStringView firstObject(QStringView text)
{
    const qsizetype start = text.indexOf(u'{');
    if (start < 0)
        return {};
    qsizetype depth = 0;
    bool inString = false;
    bool escaped = false;
    for (qsizetype i = start; i < text.size(); ++i) {
        const QChar character = text[i];
        if (inString) {
            if (escaped)
                escaped = false;
            else if (character == u'\\')
                escaped = true;
            else if (character == u'"')
                inString = false;
        } else if (character == u'"') {
            inString = true;
        } else if (character == u'{') {
            ++depth;
        } else if (character == u'}' && --depth == 0) {
            return text.sliced(start, i - start + 1);
        }
    }
    return {};
}

const QStringList &nameKeys()
{
    static const QStringList keys{u"action"_s, u"name"_s, u"tool"_s};
    return keys;
}

// The first of the keys that is present decides, even if its value is not text.
std::optional<QString> actionName(const ReplyObject &object)
{
    for (const QString &key : nameKeys()) {
        const auto member = object.members.constFind(key);
        if (member != object.members.constEnd())
            return member->isString ? member->text : std::nullopt;
    }
    return std::nullopt;
}

QMap<QString, QString> argumentBlock(const ReplyObject &object)
{
    for (const QString &key : {u"args"_s, u"parameters"_s}) {
        const auto member = object.members.constFind(key);
        if (member != object.members.constEnd() && member->isObject)
            return member->fields;
    }
    return {};
}

QString quoted(const QString &text)
{
    return u'“' + text + u'”';
}

QString addressTitle(QString address)
{
    address.remove(u"https://"_s);
    address.remove(u"http://"_s);
    qsizetype begin = 0;
    qsizetype end = address.size();
    while (begin < end && address[begin] == u'/')
        ++begin;
    while (end > begin && address[end - 1] == u'/')
        --end;
    return address.sliced(begin, end - begin);
}
} // namespace

std::optional<AgentAction> AgentAction::parse(const QString &text)
{
    const QStringView json = firstObject(text);
    if (json.isEmpty())
        return std::nullopt;
    const std::optional<ReplyObject> object = ReplyObject::decode(json.toUtf8());
    if (!object)
        return std::nullopt;
    const std::optional<QString> name = actionName(*object);
    if (!name)
        return std::nullopt;

    // A top-level member overrides the argument block, even if its value is not text.
    QMap<QString, QString> args = argumentBlock(*object);
    for (const auto &[key, member] : object->members.asKeyValueRange()) {
        if (member.text)
            args.insert(key, *member.text);
        else
            args.remove(key);
    }
    // "name" is removed even if "action" named the action: small models confuse the two.
    for (const QString &key : nameKeys())
        args.remove(key);
    return AgentAction{QUuid::createUuid(), name->toLower(), args};
}

std::optional<QString> AgentAction::arg(const QString &key) const
{
    QString trimmed = args.value(key).trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed;
}

QString AgentAction::title() const
{
    const auto shown = [this](const char *key, const QString &otherwise = {}) {
        return arg(QString::fromLatin1(key)).value_or(otherwise);
    };
    if (name == u"open_app" || name == u"focus_app")
        return u"Launching "_s + shown("app", u"app"_s);
    if (name == u"quit_app")
        return u"Closing "_s + shown("app", u"app"_s);
    if (name == u"open_url")
        return u"Navigating to "_s + addressTitle(shown("url"));
    if (name == u"web_search")
        return u"Searching for "_s + quoted(shown("query"));
    if (name == u"new_tab")
        return u"Opening new tab"_s;
    if (name == u"type_text")
        return u"Typing "_s + quoted(shown("text"));
    if (name == u"press_key") {
        const std::optional<QString> modifiers = arg(u"modifiers"_s);
        return u"Pressing "_s + (modifiers ? *modifiers + u'+' : QString()) + shown("key");
    }
    if (name == u"click")
        return u"Clicking "_s + quoted(shown("label"));
    if (name == u"create_folder")
        return u"Creating folder "_s + quoted(shown("name"));
    if (name == u"screenshot")
        return u"Taking a screenshot"_s;
    if (name == u"find_files")
        return u"Searching "_s + shown("folder", u"Downloads"_s);
    if (name == u"open_path")
        return u"Opening "_s + shown("path");
    if (name == u"trash")
        return u"Moving "_s + quoted(shown("path")) + u" to Trash"_s;
    if (name == u"list_windows")
        return u"Looking at open windows"_s;
    if (name == u"read_ui")
        return u"Reading the interface"_s;
    if (name == u"applescript")
        return u"Running AppleScript"_s;
    if (name == u"done")
        return u"Done"_s;
    return Text::titleCased(QString(name).replace(u'_', u' '));
}
