#include "executor/Executor.h"

#include "agent/ActionError.h"
#include "executor/Actions.h"
#include "executor/Characters.h"
#include "executor/KeyboardFocus.h"
#include "executor/Pause.h"
#include "platform/Accessibility.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"

#include <QCoro/QCoroFuture>
#include <QMap>

#include <algorithm>

namespace {
using namespace Executor;

// Applications keep up with pieces of this size when each is followed by the pause; input that
// arrives faster is dropped by some, and gets out of order.
constexpr qsizetype pieceSize = 20;
constexpr std::chrono::milliseconds pieceSettle{15};

// The virtual key codes of the standard Mac keyboard.
const QMap<QString, quint16> &keyCodes()
{
    static const QMap<QString, quint16> table{
        {QStringLiteral("a"), 0},       {QStringLiteral("s"), 1},
        {QStringLiteral("d"), 2},       {QStringLiteral("f"), 3},
        {QStringLiteral("h"), 4},       {QStringLiteral("g"), 5},
        {QStringLiteral("z"), 6},       {QStringLiteral("x"), 7},
        {QStringLiteral("c"), 8},       {QStringLiteral("v"), 9},
        {QStringLiteral("b"), 11},      {QStringLiteral("q"), 12},
        {QStringLiteral("w"), 13},      {QStringLiteral("e"), 14},
        {QStringLiteral("r"), 15},      {QStringLiteral("y"), 16},
        {QStringLiteral("t"), 17},      {QStringLiteral("1"), 18},
        {QStringLiteral("2"), 19},      {QStringLiteral("3"), 20},
        {QStringLiteral("4"), 21},      {QStringLiteral("6"), 22},
        {QStringLiteral("5"), 23},      {QStringLiteral("="), 24},
        {QStringLiteral("9"), 25},      {QStringLiteral("7"), 26},
        {QStringLiteral("-"), 27},      {QStringLiteral("8"), 28},
        {QStringLiteral("0"), 29},      {QStringLiteral("]"), 30},
        {QStringLiteral("o"), 31},      {QStringLiteral("u"), 32},
        {QStringLiteral("["), 33},      {QStringLiteral("i"), 34},
        {QStringLiteral("p"), 35},      {QStringLiteral("return"), 36},
        {QStringLiteral("enter"), 36},  {QStringLiteral("l"), 37},
        {QStringLiteral("j"), 38},      {QStringLiteral("'"), 39},
        {QStringLiteral("k"), 40},      {QStringLiteral(";"), 41},
        {QStringLiteral("\\"), 42},     {QStringLiteral(","), 43},
        {QStringLiteral("/"), 44},      {QStringLiteral("n"), 45},
        {QStringLiteral("m"), 46},      {QStringLiteral("."), 47},
        {QStringLiteral("tab"), 48},    {QStringLiteral("space"), 49},
        {QStringLiteral("delete"), 51}, {QStringLiteral("backspace"), 51},
        {QStringLiteral("escape"), 53}, {QStringLiteral("esc"), 53},
        {QStringLiteral("left"), 123},  {QStringLiteral("right"), 124},
        {QStringLiteral("down"), 125},  {QStringLiteral("up"), 126},
    };
    return table;
}

// What is no modifier adds nothing.
quint32 flagsFor(const QStringList &modifiers)
{
    static const QMap<QString, quint32> table{
        {QStringLiteral("command"), KeyFlag::command},
        {QStringLiteral("cmd"), KeyFlag::command},
        {QStringLiteral("shift"), KeyFlag::shift},
        {QStringLiteral("option"), KeyFlag::option},
        {QStringLiteral("alt"), KeyFlag::option},
        {QStringLiteral("control"), KeyFlag::control},
        {QStringLiteral("ctrl"), KeyFlag::control},
    };
    quint32 flags = 0;
    for (const QString &modifier : modifiers)
        flags |= table.value(modifier.toLower());
    return flags;
}

void requireTrust(const char *complaint)
{
    Accessibility &accessibility = Platform::current().accessibility();
    if (accessibility.isTrusted())
        return;
    accessibility.requestTrust();
    throw ActionError(QString::fromUtf8(complaint));
}
} // namespace

QStringList Executor::chunked(const QString &text, qsizetype size)
{
    const QList<qsizetype> ends = characterEnds(text);
    QStringList pieces;
    qsizetype start = 0;
    for (qsizetype last = size - 1; start < text.size(); last += size) {
        const qsizetype end = last < ends.size() ? ends[last] : text.size();
        pieces.append(text.sliced(start, end - start));
        start = end;
    }
    return pieces;
}

QCoro::Task<void> Executor::typeText(QString text)
{
    requireTrust("Accessibility permission is required to type. Enable it in System Settings → "
                 "Privacy & Security → Accessibility.");
    const ProcessId receiver = co_await KeyboardFocus::handOver();
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open(text, receiver);
    bool isStillThere = true;
    for (const QString &piece : chunked(text, pieceSize)) {
        // Nobody else gets to read the rest.
        isStillThere = KeyboardFocus::isWith(receiver);
        if (!isStillThere)
            break;
        for (const bool isDown : {true, false}) {
            const KeyEvent event{.isDown = isDown, .text = piece};
            co_await source->post(event);
        }
        // Not cut short by a stop: half of the pieces without the pauses would be garbled.
        co_await pause(pieceSettle, {});
    }
    co_await source->finish();
    if (!isStillThere)
        throw ActionError(
            QStringLiteral("Typing stopped because the application is no longer in front."));
}

QCoro::Task<void> Executor::keystroke(QString key, QStringList modifiers)
{
    requireTrust("Accessibility permission is required. Enable Quillon in System Settings → "
                 "Privacy & Security → Accessibility, then try again.");
    const auto code = keyCodes().constFind(key.toLower());
    if (code == keyCodes().constEnd())
        throw ActionError(QStringLiteral("Unsupported key “") + key + QStringLiteral("”."));
    const ProcessId receiver = co_await KeyboardFocus::handOver();
    if (!KeyboardFocus::isWith(receiver))
        throw ActionError(QStringLiteral("The application is no longer in front."));
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open({}, receiver);
    for (const bool isDown : {true, false}) {
        const KeyEvent event{.code = *code, .flags = flagsFor(modifiers), .isDown = isDown};
        co_await source->post(event);
    }
    co_await source->finish();
}

QCoro::Task<QString> Executor::Actions::typeText(AgentAction action, Surrounding)
{
    // As it stands: spaces and line breaks at its ends are typed too.
    const QString text = action.args.value(QStringLiteral("text"));
    if (text.isEmpty())
        throw ActionError(QStringLiteral("Missing text."));
    co_await Executor::typeText(text);
    co_return QStringLiteral("Typed text.");
}

QCoro::Task<QString> Executor::Actions::pressKey(AgentAction action, Surrounding)
{
    const QString key = required(action, "key", "Missing key.");
    QString modifiers = optional(action, "modifiers").value_or(QString()).toLower();
    for (const QChar separator : {u'+', u','})
        modifiers.replace(separator, u' ');
    co_await keystroke(key, modifiers.split(u' ', Qt::SkipEmptyParts));
    co_return QStringLiteral("Pressed ") + key + u'.';
}

QCoro::Task<QString> Executor::Actions::newTab(AgentAction action, Surrounding surrounding)
{
    if (const std::optional<QString> app = optional(action, "app"))
        (void)co_await launch(*app, surrounding);
    const QStringList modifiers{QStringLiteral("command")};
    co_await keystroke(QStringLiteral("t"), modifiers);
    co_return QStringLiteral("Opened a new tab.");
}
