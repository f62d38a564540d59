#include "base/Text.h"
#include "executor/Actions.h"
#include "executor/ControlWalk.h"
#include "executor/Executor.h"
#include "executor/KeyboardFocus.h"
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

struct OpenApplication
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

void requirePermission()
{
    Executor::requireTrust(u"Accessibility permission is required. Enable it in "
                           "System Settings → Privacy & Security → Accessibility."_s);
}

OpenApplication opened(const std::optional<Application> &front)
{
    if (!front)
        throw ActionError(u"No frontmost app."_s);
    return {.name = front->name.value_or(QString()),
            .tree = Platform::current().accessibility().open(front->pid, walkLimit)};
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
            control.role.sliced(2) + u": "_s + Text::first(control.label, maxLabelCharacters);
        if (!found.contains(line))
            found.append(line);
        return found.size() < maxLines ? VisitResult::proceed : VisitResult::stop;
    });
    return found;
}

QString pressed(const QString &label, const OpenApplication &application)
{
    try {
        std::optional<ElementId> control = find(*application.tree, label);
        if (!control && application.tree->isTimeUp())
            throw application.doesNotRespond();
        while (!control && application.tree->mayKnowMore())
            control = find(*application.tree, label);
        if (!control)
            application.requireInterface();
        if (!control)
            throw ActionError(u"Couldn't find a control labelled “"_s + label + u"”."_s);
        if (!application.tree->press(*control))
            throw ActionError(u"“"_s + label + u"” didn't respond to a click."_s);
    } catch (const UnresponsiveApplication &) {
        throw application.doesNotRespond();
    }
    return u"Clicked “"_s + label + u"”."_s;
}

QString described(const OpenApplication &application)
{
    try {
        QStringList found = lines(*application.tree);
        if (found.isEmpty() && application.tree->mayKnowMore())
            found = lines(*application.tree);
        if (found.isEmpty())
            application.requireInterface();
        if (found.isEmpty() && application.tree->isTimeUp())
            throw application.doesNotRespond();
        return found.isEmpty() ? u"No readable controls found."_s : found.join(u" | "_s);
    } catch (const UnresponsiveApplication &) {
        throw application.doesNotRespond();
    }
}
} // namespace

QCoro::Task<QString> Executor::click(QString label, std::optional<Application> front)
{
    requirePermission();
    co_await KeyboardFocus::returnTo(front);
    co_return pressed(label, opened(front));
}

QString Executor::click(const QString &label)
{
    requirePermission();
    return pressed(label, opened(Platform::current().workspace().frontmostApplication()));
}

QString Executor::readUI()
{
    requirePermission();
    return described(opened(Platform::current().workspace().frontmostApplication()));
}

QString Executor::readUI(const std::optional<Application> &front)
{
    requirePermission();
    return described(opened(front));
}

QCoro::Task<QString> Executor::Actions::click(AgentAction action, Context context)
{
    const QString label = required(action, "label", "Missing label.");
    co_return co_await Executor::click(label, context.front);
}

QCoro::Task<QString> Executor::Actions::readUI(AgentAction, Context context)
{
    co_return Executor::readUI(context.front);
}
