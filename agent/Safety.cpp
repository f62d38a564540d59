#include "agent/Safety.h"

#include "base/Text.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"

#include <QSet>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {
// Applications without unsaved work worth asking about.
const QSet<QString> &quitSafe()
{
    static const QSet<QString> names{
        u"spotify"_s,         u"music"_s,
        u"podcasts"_s,        u"tv"_s,
        u"calculator"_s,      u"maps"_s,
        u"photos"_s,          u"news"_s,
        u"stocks"_s,          u"weather"_s,
        u"chess"_s,           u"preview"_s,
        u"system settings"_s, u"activity monitor"_s,
    };
    return names;
}

// Parts of the names of applications in which Return may send a message.
constexpr auto messaging = std::to_array<QStringView>({
    u"messages",
    u"mail",
    u"slack",
    u"discord",
    u"telegram",
    u"whatsapp",
    u"outlook",
    u"teams",
    u"signal",
});

// Words on controls that have consequences when pressed.
constexpr auto consequentialWords = std::to_array<QStringView>({
    u"send",
    u"delete",
    u"remove",
    u"buy",
    u"purchase",
    u"pay",
    u"place order",
    u"checkout",
    u"submit",
    u"confirm order",
    u"erase",
    u"empty trash",
    u"transfer",
});

template <typename Words>
bool containsAny(const QString &text, const Words &words)
{
    return std::ranges::any_of(words, [&](QStringView word) { return text.contains(word); });
}

QString argOr(const AgentAction &action, const char *key, const QString &otherwise = {})
{
    return action.arg(QString::fromLatin1(key)).value_or(otherwise);
}

Risk assessQuit(const AgentAction &action)
{
    if (quitSafe().contains(argOr(action, "app").toLower()))
        return Risk::safe();
    return Risk::needsConfirmation(u"Quit "_s + argOr(action, "app", u"the app"_s) +
                                   u" — unsaved work could be lost"_s);
}

Risk assessClick(const AgentAction &action, const QString &frontName)
{
    const QString label = argOr(action, "label");
    if (!containsAny(label.toLower(), consequentialWords))
        return Risk::safe();
    return Risk::needsConfirmation(u"Click “"_s + label + u"” in "_s + Text::titleCased(frontName));
}

Risk assessKey(const AgentAction &action, const QString &frontName)
{
    const QString key = argOr(action, "key").toLower();
    const bool withCommand = argOr(action, "modifiers").toLower().contains(u"command"_s);
    if ((key == u"return" || key == u"enter") && containsAny(frontName, messaging)) {
        return Risk::needsConfirmation(u"Press Return in "_s + Text::titleCased(frontName) +
                                       u" — this may send a message"_s);
    }
    if ((key == u"delete" || key == u"backspace") && withCommand)
        return Risk::needsConfirmation(u"Delete the selected item (⌘⌫)"_s);
    if (key == u"q" && withCommand) {
        return Risk::needsConfirmation(u"Quit "_s + Text::titleCased(frontName) + u" (⌘Q)"_s);
    }
    return Risk::safe();
}

Risk assessAddress(const AgentAction &action)
{
    const QString url = argOr(action, "url").toLower();
    if (url.startsWith(u"x-apple.systempreferences"_s) && url.contains(u"reset"_s))
        return Risk::needsConfirmation(u"Modify system settings"_s);
    return Risk::safe();
}
} // namespace

Risk Safety::assess(const AgentAction &action)
{
    std::optional<Application> front;
    try {
        front = Platform::current().workspace().frontmostApplication();
    } catch (const PlatformError &) {
        front.reset(); // unknown: the desktop does not answer
    }
    return assess(action, front);
}

Risk Safety::assess(const AgentAction &action, const std::optional<Application> &front)
{
    const QString frontName = front ? front->name.value_or(QString()).toLower() : QString();

    if (action.name == u"trash") {
        return Risk::needsConfirmation(u"Move “"_s + argOr(action, "path", u"item"_s) +
                                       u"” to the Trash"_s);
    }
    if (action.name == u"quit_app")
        return assessQuit(action);
    if (action.name == u"applescript") {
        return Risk::needsConfirmation(u"Run a custom AppleScript:\n"_s + argOr(action, "script"));
    }
    if (action.name == u"click")
        return assessClick(action, frontName);
    if (action.name == u"press_key")
        return assessKey(action, frontName);
    if (action.name == u"open_url")
        return assessAddress(action);
    return Risk::safe();
}
