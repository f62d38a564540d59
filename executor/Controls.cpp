#include "base/Text.h"
#include "executor/Actions.h"
#include "executor/ControlWalk.h"
#include "executor/Executor.h"
#include "executor/Trust.h"

#include "agent/action/ActionError.h"
#include "platform/Platform.h"

#include <QStringList>

#include <array>

using namespace Qt::StringLiterals;

namespace {
using ControlWalk::Control;
using ControlWalk::VisitResult;

// Leaves time for the press: both together stay near the two seconds for which an action may block
// the main thread.
constexpr std::chrono::milliseconds walkLimit{1500};

constexpr auto clickableRoles =
    std::to_array<QStringView>({u"AXButton", u"AXMenuItem", u"AXMenuBarItem", u"AXRadioButton",
                                u"AXCheckBox", u"AXLink", u"AXTab", u"AXPopUpButton"});
constexpr ControlWalk::Limits clickLimits{.elements = 3000, .depth = 12};

constexpr auto readableRoles =
    std::to_array<QStringView>({u"AXButton", u"AXTextField", u"AXMenuItem", u"AXLink", u"AXTab",
                                u"AXRadioButton", u"AXCheckBox", u"AXStaticText"});
constexpr ControlWalk::Limits readLimits{.elements = 1500, .depth = 10};
constexpr qsizetype maxLines = 40;
constexpr qsizetype maxLabelCharacters = 50;

struct Front
{
    QString name;
    std::unique_ptr<AccessibleTree> tree;

    [[nodiscard]] ActionError failure(const QString &what) const
    {
        return ActionError((name.isEmpty() ? u"The frontmost app"_s : u"“"_s + name + u"”"_s) +
                           u' ' + what);
    }

    [[nodiscard]] ActionError doesNotRespond() const { return failure(u"doesn't respond."_s); }

    // If nothing was found, tells so if the application exposes no interface at all.
    void requireInterface() const
    {
        if (const std::optional<QString> reason = tree->silenceReason())
            throw failure(*reason);
    }
};

Front openFront()
{
    Executor::requireTrust(u"Accessibility permission is required. Enable it in "
                           "System Settings → Privacy & Security → Accessibility."_s);
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    if (!front)
        throw ActionError(u"No frontmost app."_s);
    return {.name = front->name.value_or(QString()),
            .tree = Platform::current().accessibility().open(front->pid, walkLimit)};
}

QString firstCharacters(const QString &text, qsizetype count)
{
    const QList<qsizetype> ends = Text::graphemeBoundaries(text, count);
    return ends.size() < count ? text : text.first(ends.constLast());
}

// The first match, but a match that is certainly visible is preferred.
struct Candidate
{
    std::optional<ElementId> shown{};
    std::optional<ElementId> unclear{};

    void offer(const Control &control)
    {
        std::optional<ElementId> &place = control.isShown ? shown : unclear;
        if (!place)
            place = control.element;
    }

    [[nodiscard]] std::optional<ElementId> best() const { return shown ? shown : unclear; }
};

// The first control with that label, else the first one whose label contains it.
std::optional<ElementId> find(AccessibleTree &tree, const QString &label)
{
    const QString target = Text::folded(label);
    Candidate exact;
    Candidate partial;
    const auto contains = [&](const QString &candidate) {
        return Text::folded(candidate).contains(target);
    };
    ControlWalk::run(tree, clickLimits, {clickableRoles, contains}, [&](const Control &control) {
        (Text::folded(control.label) == target ? exact : partial).offer(control);
        return exact.shown ? VisitResult::stop : VisitResult::proceed;
    });
    return exact.best() ? exact.best() : partial.best();
}

QStringList lines(AccessibleTree &tree)
{
    QStringList found;
    const auto isThere = [](const QString &label) { return !label.isEmpty(); };
    ControlWalk::run(tree, readLimits, {readableRoles, isThere}, [&](const Control &control) {
        const QString line =
            control.role.sliced(2) + u": "_s + firstCharacters(control.label, maxLabelCharacters);
        if (!found.contains(line))
            found.append(line);
        return found.size() < maxLines ? VisitResult::proceed : VisitResult::stop;
    });
    return found;
}
} // namespace

QString Executor::click(const QString &label)
{
    const Front front = openFront();
    try {
        std::optional<ElementId> control = find(*front.tree, label);
        if (!control && front.tree->isTimeUp())
            throw front.doesNotRespond();
        while (!control && front.tree->mayKnowMore())
            control = find(*front.tree, label);
        if (!control)
            front.requireInterface();
        if (!control)
            throw ActionError(u"Couldn't find a control labelled “"_s + label + u"”."_s);
        if (!front.tree->press(*control))
            throw ActionError(u"“"_s + label + u"” didn't respond to a click."_s);
    } catch (const UnresponsiveApplication &) {
        throw front.doesNotRespond();
    }
    return u"Clicked “"_s + label + u"”."_s;
}

QString Executor::readUI()
{
    const Front front = openFront();
    try {
        QStringList found = lines(*front.tree);
        if (found.isEmpty() && front.tree->mayKnowMore())
            found = lines(*front.tree);
        if (found.isEmpty())
            front.requireInterface();
        if (found.isEmpty() && front.tree->isTimeUp())
            throw front.doesNotRespond();
        return found.isEmpty() ? u"No readable controls found."_s : found.join(u" | "_s);
    } catch (const UnresponsiveApplication &) {
        throw front.doesNotRespond();
    }
}

QCoro::Task<QString> Executor::Actions::click(AgentAction action, CancellationToken)
{
    co_return Executor::click(required(action, "label", "Missing label."));
}

QCoro::Task<QString> Executor::Actions::readUI(AgentAction, CancellationToken)
{
    co_return Executor::readUI();
}
