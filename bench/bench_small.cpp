// How soon the small model that comes along answers: loading it, its first step and its memory,
// beside a model of the usual size with a prompt of the usual length.
#include "agent/SystemPrompt.h"
#include "bench/Measure.h"
#include "bench/ShapedModel.h"
#include "inference/LlamaEngine.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QFileInfo>

#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
constexpr int mostTokens = 256;
// A model of the usual size reads so many tokens before its first step, and replies with so many.
constexpr qsizetype usualPrompt = 1000;
constexpr int usualReply = 24;
constexpr int rounds = 10;
constexpr int usualRounds = 3;

const QString memoryOption = u"--memory"_s;

QString smallModel()
{
    const QString file = u"" SMALL_MODEL ""_s;
    if (!QFileInfo(file).isFile())
        throw std::runtime_error("This build has no small model: run scripts/setup, then again.");
    return file;
}

QList<ChatMessage> firstStep()
{
    return {{Role::system, systemPrompt()},
            {Role::user, u"User: Find the latest PDF in my Downloads folder\n"
                         "State: Frontmost app: Files. Windows: Files: Home"_s}};
}

QList<ChatMessage> usualFirstStep()
{
    return {{Role::system, u"Answer with one object. "_s.repeated(usualPrompt / 24)},
            {Role::user, u"User: go on"_s}};
}

struct Start
{
    double loadSeconds = 0;
    double stepSeconds = 0;
};

Start start(const QString &file, const QList<ChatMessage> &conversation, int tokens)
{
    LlamaEngine engine;
    const Measure::Stopwatch load;
    QCoro::waitFor(engine.load(file));
    const double loadSeconds = load.seconds();
    const Measure::Stopwatch step;
    QCoro::waitFor(engine.generate(conversation, tokens, [](const QString &) {}));
    return {.loadSeconds = loadSeconds, .stepSeconds = step.seconds()};
}

void measure()
{
    std::vector<double> loads;
    std::vector<double> steps;
    // The first round reads the file from the disk.
    (void)start(smallModel(), firstStep(), mostTokens);
    for (int round = 0; round < rounds; ++round) {
        const Start small = start(smallModel(), firstStep(), mostTokens);
        loads.push_back(small.loadSeconds);
        steps.push_back(small.stepSeconds);
    }
    Measure::say("small: the usual size");
    std::vector<double> usualLoads;
    std::vector<double> usualSteps;
    for (int round = 0; round < usualRounds; ++round) {
        const Start usual = start(ShapedModel::path(), usualFirstStep(), usualReply);
        usualLoads.push_back(usual.loadSeconds);
        usualSteps.push_back(usual.stepSeconds);
    }
    const Measure::Summary load = Measure::summarize(loads);
    const Measure::Summary step = Measure::summarize(steps);
    const Measure::Summary usualStep = Measure::summarize(usualSteps);
    const double memory = Measure::peakResidentMBOf({memoryOption});
    using Side = Measure::Goal::Side;
    Measure::report("small",
                    {{"seconds to load", load.median, Side::atMost, 0.3},
                     {"seconds for the first step", step.median, Side::atMost, 0.5},
                     {"peak memory in MB", memory, Side::atMost, 250}},
                    {{"loadSeconds", load},
                     {"firstStepSeconds", step},
                     {"peakMB", memory},
                     {"usualLoadSeconds", Measure::summarize(usualLoads)},
                     {"usualFirstStepSeconds", usualStep},
                     {"firstStepOverUsual", step.median / usualStep.median}});
}
} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    try {
        if (application.arguments().value(1) == memoryOption) {
            (void)start(smallModel(), firstStep(), mostTokens);
            std::printf("%.3f\n", Measure::peakResidentMB());
        } else {
            measure();
        }
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
