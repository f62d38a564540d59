#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "base/Text.h"
#include "executor/Actions.h"
#include "executor/KeyboardFocus.h"
#include "executor/Pause.h"
#include "executor/Trust.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"

#include <QCoro/QCoroFuture>
#include <QMap>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
using namespace Executor;

// Applications keep up with pieces of this size if each is followed by the pause; some drop or
// reorder input that arrives faster.
constexpr qsizetype pieceSize = 20;
constexpr std::chrono::milliseconds pieceSettle{15};

// The virtual key codes of the standard Mac keyboard.
const QMap<QString, quint16> &keyCodes()
{
    static const QMap<QString, quint16> table{
        {u"a"_s, 0},       {u"s"_s, 1},      {u"d"_s, 2},       {u"f"_s, 3},
        {u"h"_s, 4},       {u"g"_s, 5},      {u"z"_s, 6},       {u"x"_s, 7},
        {u"c"_s, 8},       {u"v"_s, 9},      {u"b"_s, 11},      {u"q"_s, 12},
        {u"w"_s, 13},      {u"e"_s, 14},     {u"r"_s, 15},      {u"y"_s, 16},
        {u"t"_s, 17},      {u"1"_s, 18},     {u"2"_s, 19},      {u"3"_s, 20},
        {u"4"_s, 21},      {u"6"_s, 22},     {u"5"_s, 23},      {u"="_s, 24},
        {u"9"_s, 25},      {u"7"_s, 26},     {u"-"_s, 27},      {u"8"_s, 28},
        {u"0"_s, 29},      {u"]"_s, 30},     {u"o"_s, 31},      {u"u"_s, 32},
        {u"["_s, 33},      {u"i"_s, 34},     {u"p"_s, 35},      {u"return"_s, 36},
        {u"enter"_s, 36},  {u"l"_s, 37},     {u"j"_s, 38},      {u"'"_s, 39},
        {u"k"_s, 40},      {u";"_s, 41},     {u"\\"_s, 42},     {u","_s, 43},
        {u"/"_s, 44},      {u"n"_s, 45},     {u"m"_s, 46},      {u"."_s, 47},
        {u"tab"_s, 48},    {u"space"_s, 49}, {u"delete"_s, 51}, {u"backspace"_s, 51},
        {u"escape"_s, 53}, {u"esc"_s, 53},   {u"left"_s, 123},  {u"right"_s, 124},
        {u"down"_s, 125},  {u"up"_s, 126},
    };
    return table;
}

// Unknown names are ignored.
quint32 flagsFor(const QStringList &modifiers)
{
    static const QMap<QString, quint32> table{
        {u"command"_s, KeyFlag::command}, {u"cmd"_s, KeyFlag::command},
        {u"shift"_s, KeyFlag::shift},     {u"option"_s, KeyFlag::option},
        {u"alt"_s, KeyFlag::option},      {u"control"_s, KeyFlag::control},
        {u"ctrl"_s, KeyFlag::control},
    };
    quint32 flags = 0;
    for (const QString &modifier : modifiers)
        flags |= table.value(modifier.toLower());
    return flags;
}
} // namespace

QStringList Executor::chunked(const QString &text, qsizetype size)
{
    const QList<qsizetype> ends = Text::graphemeBoundaries(text);
    QStringList pieces;
    qsizetype start = 0;
    for (qsizetype last = size - 1; start < text.size(); last += size) {
        const qsizetype end = last < ends.size() ? ends[last] : text.size();
        pieces.append(text.sliced(start, end - start));
        start = end;
    }
    return pieces;
}

QCoro::Task<void> Executor::typeText(QString text, std::optional<Application> front)
{
    requireTrust(u"Accessibility permission is required to type. Enable it in System Settings → "
                 "Privacy & Security → Accessibility."_s);
    const ProcessId receiver = co_await KeyboardFocus::handOverTo(front);
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open(text, receiver);
    bool isStillThere = true;
    for (const QString &piece : chunked(text, pieceSize)) {
        // Another application must not receive the rest.
        isStillThere = KeyboardFocus::isWith(receiver);
        if (!isStillThere)
            break;
        for (const bool isDown : {true, false}) {
            const KeyEvent event{.isDown = isDown, .text = piece};
            co_await source->post(event);
        }
        // Not cancellable: without the pauses, some applications would garble the text.
        co_await pause(pieceSettle, {});
    }
    co_await source->finish();
    if (!isStillThere)
        throw ActionError(u"Typing stopped because the application is no longer in front."_s);
}

QCoro::Task<void> Executor::typeText(QString text)
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    co_await typeText(text, front);
}

QCoro::Task<void> Executor::keystroke(QString key, QStringList modifiers)
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    co_await keystroke(key, modifiers, front);
}

QCoro::Task<void> Executor::keystroke(QString key, QStringList modifiers,
                                      std::optional<Application> front)
{
    requireTrust(u"Accessibility permission is required. Enable Quillon in System Settings → "
                 "Privacy & Security → Accessibility, then try again."_s);
    const auto code = keyCodes().constFind(key.toLower());
    if (code == keyCodes().constEnd())
        throw ActionError(u"Unsupported key “"_s + key + u"”."_s);
    const ProcessId receiver = co_await KeyboardFocus::handOverTo(front);
    if (!KeyboardFocus::isWith(receiver))
        throw ActionError(u"The application is no longer in front."_s);
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open({}, receiver);
    for (const bool isDown : {true, false}) {
        const KeyEvent event{.code = *code, .flags = flagsFor(modifiers), .isDown = isDown};
        co_await source->post(event);
    }
    co_await source->finish();
}

QCoro::Task<QString> Executor::Actions::typeText(AgentAction action, Context context)
{
    // Not trimmed: spaces and line breaks at its ends are typed too.
    const QString text = action.args.value(u"text"_s);
    if (text.isEmpty())
        throw ActionError(u"Missing text."_s);
    co_await Executor::typeText(text, context.front);
    co_return u"Typed text."_s;
}

QCoro::Task<QString> Executor::Actions::pressKey(AgentAction action, Context context)
{
    const QString key = required(action, "key", "Missing key.");
    QString modifiers = optional(action, "modifiers").value_or(QString()).toLower();
    for (const QChar separator : {u'+', u','})
        modifiers.replace(separator, u' ');
    co_await keystroke(key, modifiers.split(u' ', Qt::SkipEmptyParts), context.front);
    co_return u"Pressed "_s + key + u'.';
}

QCoro::Task<QString> Executor::Actions::newTab(AgentAction action, Context context)
{
    std::optional<Application> front = context.front;
    if (const std::optional<QString> app = optional(action, "app")) {
        (void)co_await launch(*app, context.cancellation);
        front = Platform::current().workspace().frontmostApplication();
    }
    const QStringList modifiers{u"command"_s};
    co_await keystroke(u"t"_s, modifiers, front);
    co_return u"Opened a new tab."_s;
}
