// The time to read another application's controls and to press one, compared with a walk that makes
// one query after the other, and with a library that is in use for this.

#include "Measure.h"
#include "agent/action/ActionError.h"
#include "executor/ControlWalk.h"
#include "executor/Executor.h"
#include "platform/Platform.h"
#include "support/VirtualDesktop.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <array>
#include <stdexcept>
#include <string>

using namespace Qt::StringLiterals;

namespace {
constexpr int rounds = 15;

// The limits and roles of a click.
constexpr ControlWalk::Limits limits{.elements = 3000, .depth = 12};
constexpr auto roles =
    std::to_array<QStringView>({u"AXButton", u"AXMenuItem", u"AXMenuBarItem", u"AXRadioButton",
                                u"AXCheckBox", u"AXLink", u"AXTab", u"AXPopUpButton"});

struct Walked
{
    QStringList controls;
    double milliseconds = 0;
};

enum class Wanted { nothing, everything };

// If nothing is wanted, this is the walk of a click on a label that does not exist.
Walked batched(ProcessId application, Wanted wanted)
{
    Walked walked;
    const auto label = [&](const QString &) { return wanted == Wanted::everything; };
    const Measure::Stopwatch watch;
    const auto tree =
        Platform::current().accessibility().open(application, std::chrono::minutes(1));
    ControlWalk::run(*tree, limits, {roles, label}, [&](const ControlWalk::Control &control) {
        walked.controls.append(control.role + u' ' + control.label);
        return ControlWalk::VisitResult::proceed;
    });
    walked.milliseconds = watch.seconds() * 1e3;
    return walked;
}

// A walk by another program, which prints the controls that it visited and, last, how long it took.
Walked walkedBy(const QString &program, QStringList arguments, ProcessId application)
{
    QProcess walk;
    arguments.append(QString::number(static_cast<qint64>(application)));
    walk.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    walk.start(program, arguments);
    if (!walk.waitForFinished(60'000) || walk.exitCode() != 0)
        throw std::runtime_error("The walk one by one failed.");
    QStringList lines = QString::fromUtf8(walk.readAllStandardOutput()).trimmed().split(u'\n');
    const double milliseconds = lines.takeLast().toDouble();
    return {.controls = lines, .milliseconds = milliseconds};
}

Walked oneByOne(ProcessId application)
{
    return walkedBy(u"" ONE_BY_ONE_WALK ""_s, {}, application);
}

Walked dogtails(ProcessId application)
{
    return walkedBy(u"/usr/bin/python3"_s, {u"" DOGTAIL_WALK ""_s}, application);
}

QStringList withoutRoles(QStringList controls)
{
    for (QString &control : controls)
        control.remove(0, control.indexOf(u' ') + 1);
    return controls;
}

void waitUntilShown(ProcessId application)
{
    QElapsedTimer waiting;
    waiting.start();
    std::string failure;
    while (waiting.elapsed() < 60'000) {
        const std::optional<Application> front =
            Platform::current().workspace().frontmostApplication();
        try {
            if (front && front->pid == application &&
                Executor::readUI(front).contains(u"Button 0"_s))
                return;
        } catch (const ActionError &error) {
            failure = error.what(); // It is still starting.
        }
    }
    throw std::runtime_error("The window did not appear. " + failure);
}

// QCoro's waitFor() does not pass exceptions on.
QCoro::Task<bool> isPressed(QString label, std::optional<Application> front)
{
    try {
        (void)co_await Executor::click(label, front);
    } catch (const std::exception &) {
        co_return false;
    }
    co_return true;
}

Measure::Json measure(VirtualDesktop &desktop, const char *toolkit, const char *program,
                      const char *elements, std::vector<Measure::Goal> &goals)
{
    QProcess &window = desktop.start(QString::fromLatin1(program), {QString::fromLatin1(elements)});
    const ProcessId application{window.processId()};
    waitUntilShown(application);
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    std::vector<double> ours;
    std::vector<double> plain;
    std::vector<double> others;
    std::vector<double> reads;
    std::vector<double> clicks;
    qsizetype count = 0;
    for (int round = 0; round < rounds; ++round) {
        const QStringList controls = batched(application, Wanted::everything).controls;
        ours.push_back(batched(application, Wanted::nothing).milliseconds);
        const Walked single = oneByOne(application);
        if (controls != single.controls)
            throw std::runtime_error("The two walks differ.");
        count = controls.size();
        plain.push_back(single.milliseconds);
        const Walked other = dogtails(application);
        if (withoutRoles(controls) != other.controls)
            throw std::runtime_error("Dogtail's walk differs.");
        others.push_back(other.milliseconds);
        const Measure::Stopwatch reading;
        (void)Executor::readUI(front);
        reads.push_back(reading.seconds() * 1e3);
        const Measure::Stopwatch clicking;
        if (!QCoro::waitFor(isPressed(u"Button 100"_s, front)))
            throw std::runtime_error("The button could not be pressed.");
        clicks.push_back(clicking.seconds() * 1e3);
    }
    window.kill();
    window.waitForFinished();
    const Measure::Summary ratio = Measure::summarize(Measure::ratios(plain, ours));
    goals.push_back({std::string("one by one / batched, ") + toolkit, ratio.median,
                     Measure::Goal::Side::atLeast, 5});
    return {{"controls", count},
            {"walkMilliseconds", Measure::summarize(ours)},
            {"oneByOneMilliseconds", Measure::summarize(plain)},
            {"oneByOneOverBatched", ratio},
            {"dogtailMilliseconds", Measure::summarize(others)},
            {"dogtailOverBatched", Measure::summarize(Measure::ratios(others, ours))},
            {"noise", Measure::summarize(Measure::neighbourRatios(ours))},
            {"readUiMilliseconds", Measure::summarize(reads)},
            {"clickMilliseconds", Measure::summarize(clicks)}};
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    VirtualDesktop desktop;
    desktop.enableAccessibility();
    try {
        std::vector<Measure::Goal> goals;
        Measure::Json figures;
        figures["gtk"] = measure(desktop, "GTK", GTK_WINDOW, "3000", goals);
        figures["qt"] = measure(desktop, "Qt", QT_WINDOW, "1500", goals);
        Measure::report("accessibility", goals, figures);
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
