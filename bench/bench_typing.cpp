// The time of typing apart from its fixed pauses: 1,000 characters into a terminal on a private
// desktop, in turns with xdotool. The received text is compared.
#include "bench/Measure.h"
#include "executor/Executor.h"
#include "executor/Pause.h"
#include "platform/Platform.h"
#include "support/VirtualDesktop.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QFile>
#include <QThread>

#include <exception>
#include <functional>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
constexpr int rounds = 15;
// The fixed pauses: 50 pieces of 20 characters, 15 ms after each.
constexpr int pieces = 50;
constexpr double pauses = pieces * 0.015;

// Runs the event loop until the task has ended; QCoro's waitFor() does not pass exceptions on.
void await(QCoro::Task<> task)
{
    std::exception_ptr failure;
    const auto caught = [](QCoro::Task<> unfinished, std::exception_ptr &outcome) -> QCoro::Task<> {
        try {
            co_await unfinished;
        } catch (...) {
            outcome = std::current_exception();
        }
    };
    QCoro::waitFor(caught(std::move(task), failure));
    if (failure)
        std::rethrow_exception(failure);
}

// The pauses alone: how long they take on this machine at present.
QCoro::Task<> pauseOnly()
{
    for (int i = 0; i < pieces; ++i)
        co_await Executor::pause(std::chrono::milliseconds(15), {});
}

/// A terminal that writes its input to a file.
class Terminal
{
public:
    explicit Terminal(VirtualDesktop &desktop) : m_file(desktop.home(u"typed"_s))
    {
        const QString script = u"stty -icanon -echo; echo > '%1'; exec cat >> '%1'"_s.arg(m_file);
        const QProcess &process =
            desktop.start(u"xterm"_s, {u"-u8"_s, u"-e"_s, u"sh"_s, u"-c"_s, script});
        const ProcessId pid{process.processId()};
        waitFor([&] { return Platform::current().workspace().focusedProcess() == pid; });
        waitFor([this] { return QFile::exists(m_file); });
        // It drops keys until it has processed the focus change.
        QThread::sleep(1);
    }

    /// The time from the start of typing until all of the text has arrived.
    double seconds(const QString &text, const std::function<void()> &type)
    {
        m_expected += text.toUtf8();
        const Measure::Stopwatch watch;
        type();
        const double result = watch.seconds();
        waitFor([this] {
            QFile file(m_file);
            return file.open(QIODevice::ReadOnly) && file.readAll().mid(1) == m_expected;
        });
        return result;
    }

private:
    static void waitFor(const std::function<bool()> &condition)
    {
        for (int i = 0; i < 10'000 && !condition(); ++i)
            QThread::msleep(1);
        if (!condition())
            throw std::runtime_error("The terminal did not get what was typed.");
    }

    QString m_file;
    QByteArray m_expected;
};

void run(const QString &program, const QStringList &arguments)
{
    if (QProcess::execute(program, arguments) != 0)
        throw std::runtime_error("xdotool is not installed.");
}

void measure()
{
    qputenv("LC_ALL", "C.UTF-8");
    VirtualDesktop desktop;
    desktop.enableAccessibility();
    Terminal terminal(desktop);
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    const QString plain = u"The quick brown fox jumps over it. "_s.repeated(29).left(1000);
    // Has ten letters that the keyboard layout lacks.
    const QString foreign = u"Größe, naïveté: Жук шёл. "_s.repeated(40).left(1000);

    std::vector<double> plainTimes;
    std::vector<double> pauseTimes;
    std::vector<double> foreignTimes;
    std::vector<double> otherTimes;
    std::vector<double> hastyTimes;
    std::vector<double> keyTimes;
    for (int round = -1; round < rounds; ++round) {
        Measure::say("typing: round " + std::to_string(round + 1));
        const double ours =
            terminal.seconds(plain, [&] { await(Executor::typeText(plain, front)); });
        const Measure::Stopwatch nothing;
        await(pauseOnly());
        const double pausing = nothing.seconds();
        const double oursForeign =
            terminal.seconds(foreign, [&] { await(Executor::typeText(foreign, front)); });
        const double others =
            terminal.seconds(plain, [&] { run(u"xdotool"_s, {u"type"_s, plain}); });
        const double hasty = terminal.seconds(
            plain, [&] { run(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"0"_s, plain}); });
        const double key = terminal.seconds(
            u"a"_s, [&] { await(Executor::keystroke(u"a"_s, QStringList(), front)); });
        if (round < 0)
            continue; // warms up
        plainTimes.push_back(ours);
        pauseTimes.push_back(pausing);
        foreignTimes.push_back(oursForeign);
        otherTimes.push_back(others);
        hastyTimes.push_back(hasty);
        keyTimes.push_back(key * 1e3);
    }

    const std::vector<double> sums(plainTimes.size(), pauses);
    const Measure::Summary toPauses = Measure::summarize(Measure::ratios(plainTimes, sums));
    const Measure::Summary keyMilliseconds = Measure::summarize(keyTimes);
    Measure::report(
        "typing",
        {{"1,000 characters, over the pauses' sum", toPauses.median, Measure::Goal::Side::atMost,
          1.1},
         {"one key, in milliseconds", keyMilliseconds.median, Measure::Goal::Side::atMost, 20}},
        {{"overPauses", toPauses},
         {"overPausesOfTheSameRound", Measure::summarize(Measure::ratios(plainTimes, pauseTimes))},
         {"foreignOverPauses", Measure::summarize(Measure::ratios(foreignTimes, sums))},
         {"overXdotool", Measure::summarize(Measure::ratios(plainTimes, otherTimes))},
         {"overXdotoolWithoutDelay", Measure::summarize(Measure::ratios(plainTimes, hastyTimes))},
         {"seconds", Measure::summarize(plainTimes)},
         {"xdotoolSeconds", Measure::summarize(otherTimes)},
         {"xdotoolSecondsWithoutDelay", Measure::summarize(hastyTimes)},
         {"keyMilliseconds", keyMilliseconds}});
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    try {
        measure();
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
