#include "agent/Safety.h"

#include "agent/WordCase.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"

#include <QSet>

#include <algorithm>
#include <array>

namespace {
// Applications that hold no unsaved work of consequence.
const QSet<QString> &quitSafe()
{
    static const QSet<QString> names{
        QStringLiteral("spotify"),         QStringLiteral("music"),
        QStringLiteral("podcasts"),        QStringLiteral("tv"),
        QStringLiteral("calculator"),      QStringLiteral("maps"),
        QStringLiteral("photos"),          QStringLiteral("news"),
        QStringLiteral("stocks"),          QStringLiteral("weather"),
        QStringLiteral("chess"),           QStringLiteral("preview"),
        QStringLiteral("system settings"), QStringLiteral("activity monitor"),
    };
    return names;
}

// Fragments of the names of applications where Return may send a message.
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

// Words on controls whose press has consequences.
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
    return Risk::needsConfirmation(QStringLiteral("Quit ") +
                                   argOr(action, "app", QStringLiteral("the app")) +
                                   QStringLiteral(" — unsaved work could be lost"));
}

Risk assessClick(const AgentAction &action, const QString &frontName)
{
    const QString label = argOr(action, "label");
    if (!containsAny(label.toLower(), consequentialWords))
        return Risk::safe();
    return Risk::needsConfirmation(QStringLiteral("Click “") + label + QStringLiteral("” in ") +
                                   capitalizedWords(frontName));
}

Risk assessKey(const AgentAction &action, const QString &frontName)
{
    const QString key = argOr(action, "key").toLower();
    const bool withCommand =
        argOr(action, "modifiers").toLower().contains(QStringLiteral("command"));
    if ((key == u"return" || key == u"enter") && containsAny(frontName, messaging)) {
        return Risk::needsConfirmation(QStringLiteral("Press Return in ") +
                                       capitalizedWords(frontName) +
                                       QStringLiteral(" — this may send a message"));
    }
    if ((key == u"delete" || key == u"backspace") && withCommand)
        return Risk::needsConfirmation(QStringLiteral("Delete the selected item (⌘⌫)"));
    if (key == u"q" && withCommand) {
        return Risk::needsConfirmation(QStringLiteral("Quit ") + capitalizedWords(frontName) +
                                       QStringLiteral(" (⌘Q)"));
    }
    return Risk::safe();
}

Risk assessAddress(const AgentAction &action)
{
    const QString url = argOr(action, "url").toLower();
    if (url.startsWith(QStringLiteral("x-apple.systempreferences")) &&
        url.contains(QStringLiteral("reset")))
        return Risk::needsConfirmation(QStringLiteral("Modify system settings"));
    return Risk::safe();
}
} // namespace

Risk Safety::assess(const AgentAction &action)
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    const QString frontName = front ? front->name.value_or(QString()).toLower() : QString();

    if (action.name == u"trash") {
        return Risk::needsConfirmation(QStringLiteral("Move “") +
                                       argOr(action, "path", QStringLiteral("item")) +
                                       QStringLiteral("” to the Trash"));
    }
    if (action.name == u"quit_app")
        return assessQuit(action);
    if (action.name == u"applescript") {
        return Risk::needsConfirmation(QStringLiteral("Run a custom AppleScript:\n") +
                                       argOr(action, "script"));
    }
    if (action.name == u"click")
        return assessClick(action, frontName);
    if (action.name == u"press_key")
        return assessKey(action, frontName);
    if (action.name == u"open_url")
        return assessAddress(action);
    return Risk::safe();
}
