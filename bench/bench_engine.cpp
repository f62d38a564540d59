// LlamaEngine compared with the least code that makes the same library calls: the same file and
// parameters in the same process, in turns, with a tiny model and with one of the usual size. Also,
// in another process, with a JavaScript program that uses a binding of the library, if that is
// installed.
#include "bench/BareLoop.h"
#include "bench/Measure.h"
#include "bench/ShapedModel.h"
#include "inference/LlamaEngine.h"
#include "support/TestModel.h"

#include <llama.h>

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <optional>

using namespace Qt::StringLiterals;

namespace {
using Measure::Json;

// One generation: the time to the first token, and of each further one.
struct Generation
{
    double promptSeconds = 0;
    double tokenSeconds = 0;
    double wholeSeconds = 0;
};

class TokenClock
{
public:
    void tick()
    {
        m_last = m_watch.seconds();
        if (m_count++ == 0)
            m_first = m_last;
    }

    [[nodiscard]] Generation generation(int expectedTokens) const
    {
        if (m_count != expectedTokens)
            throw std::runtime_error("The model ended its reply early.");
        return {.promptSeconds = m_first,
                .tokenSeconds = (m_last - m_first) / (m_count - 1),
                .wholeSeconds = m_watch.seconds()};
    }

private:
    Measure::Stopwatch m_watch;
    double m_first = 0;
    double m_last = 0;
    int m_count = 0;
};

struct Workload
{
    QString file;
    QList<ChatMessage> conversation;
    int tokens = 0;
    int rounds = 0;
};

Generation generate(BareLoop &bare, const Workload &work)
{
    TokenClock clock;
    bare.generate(work.conversation, work.tokens, [&clock](const std::string &) { clock.tick(); });
    return clock.generation(work.tokens);
}

Generation generate(InferenceEngine &engine, const Workload &work)
{
    TokenClock clock;
    QCoro::waitFor(engine.generate(work.conversation, work.tokens,
                                   [&clock](const QString &) { clock.tick(); }));
    return clock.generation(work.tokens);
}

/// The program that uses the binding; it does one generation at a time.
class BindingLoop
{
public:
    BindingLoop(const QString &folder, const QString &modelFile)
    {
        m_program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_program.start(u"node"_s, {u"" BINDING_LOOP ""_s, folder, modelFile});
    }
    ~BindingLoop()
    {
        m_program.closeWriteChannel();
        m_program.waitForFinished(-1);
    }
    BindingLoop(const BindingLoop &) = delete;
    BindingLoop &operator=(const BindingLoop &) = delete;

    Generation generate(const std::vector<std::int32_t> &prompt, int tokens)
    {
        const Json wanted{{"prompt", prompt}, {"count", tokens}};
        m_program.write(QByteArray::fromStdString(wanted.dump()) + '\n');
        while (!m_program.canReadLine()) {
            if (!m_program.waitForReadyRead(-1))
                throw std::runtime_error("The loop over the binding does not work.");
        }
        const Json told = Json::parse(m_program.readLine().toStdString());
        return {.promptSeconds = told.at("promptSeconds"),
                .tokenSeconds = told.at("tokenSeconds"),
                .wholeSeconds = told.at("wholeSeconds")};
    }

private:
    QProcess m_program;
};

struct Series
{
    std::vector<double> prompt;
    std::vector<double> token;
    std::vector<double> whole;

    void add(const Generation &generation)
    {
        prompt.push_back(generation.promptSeconds);
        token.push_back(generation.tokenSeconds);
        whole.push_back(generation.wholeSeconds);
    }
};

Json comparison(const std::vector<double> &engine, const std::vector<double> &bare)
{
    return {{"ratio", Measure::summarize(Measure::ratios(engine, bare))},
            {"ratioOfTheFastest", *std::min_element(engine.begin(), engine.end()) /
                                      *std::min_element(bare.begin(), bare.end())},
            {"noise", Measure::summarize(Measure::neighbourRatios(bare))},
            {"engineSeconds", Measure::summarize(engine)},
            {"bareSeconds", Measure::summarize(bare)}};
}

Json compareTimes(const Workload &work)
{
    BareLoop bare(work.file);
    LlamaEngine engine;
    QCoro::waitFor(engine.load(work.file));
    // Warms up: the first run of each touches its memory for the first time.
    generate(bare, work);
    generate(engine, work);
    std::optional<BindingLoop> binding;
    const std::vector<std::int32_t> prompt = bare.prompt(work.conversation);
    if (const QString folder = qEnvironmentVariable("QUILLON_BENCH_BINDING"); !folder.isEmpty()) {
        binding.emplace(folder, work.file);
        binding->generate(prompt, work.tokens);
    }

    Series engineSeries;
    Series bareSeries;
    Series bindingSeries;
    for (int round = 0; round < work.rounds; ++round) {
        if (round % 10 == 0)
            Measure::say("engine: round " + std::to_string(round));
        // They alternate in going first, so that the caches favour neither.
        const bool bareFirst = round % 2 == 0;
        if (bareFirst)
            bareSeries.add(generate(bare, work));
        engineSeries.add(generate(engine, work));
        if (!bareFirst)
            bareSeries.add(generate(bare, work));
        if (binding)
            bindingSeries.add(binding->generate(prompt, work.tokens));
    }
    Json found{{"promptToFirstToken", comparison(engineSeries.prompt, bareSeries.prompt)},
               {"perToken", comparison(engineSeries.token, bareSeries.token)},
               {"wholeReply", comparison(engineSeries.whole, bareSeries.whole)},
               {"replyTokens", work.tokens}};
    if (binding) {
        const auto ratio = [](const std::vector<double> &ours, const std::vector<double> &theirs) {
            return Measure::summarize(Measure::ratios(ours, theirs));
        };
        found["engineOverBinding"] = {
            {"promptToFirstToken", ratio(engineSeries.prompt, bindingSeries.prompt)},
            {"perToken", ratio(engineSeries.token, bindingSeries.token)},
            {"wholeReply", ratio(engineSeries.whole, bindingSeries.whole)}};
    }
    return found;
}

Json compareMemory(const QString &kind)
{
    constexpr int rounds = 3;
    std::vector<double> engine;
    std::vector<double> bare;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(Measure::peakResidentMBOf({u"--memory"_s, u"bare"_s, kind}));
        engine.push_back(Measure::peakResidentMBOf({u"--memory"_s, u"engine"_s, kind}));
    }
    const Measure::Summary engineSummary = Measure::summarize(engine);
    const Measure::Summary bareSummary = Measure::summarize(bare);
    return {{"engineMB", engineSummary},
            {"bareMB", bareSummary},
            {"differenceMB", engineSummary.median - bareSummary.median}};
}

QList<ChatMessage> conversation(qsizetype letters)
{
    return {{Role::system, u"Answer with one object. "_s.repeated(letters / 24)},
            {Role::user, u"User: go on"_s}};
}

const QString &tiny()
{
    static const QString kind = u"tiny"_s;
    return kind;
}

const QString &shaped()
{
    static const QString kind = u"1.5B"_s;
    return kind;
}

// The tiny file goes into the folder; the large one stays in the user's cache.
Workload workload(const QString &kind, const QDir &folder)
{
    if (kind == shaped())
        return {ShapedModel::path(), conversation(150), 16, 12};
    constexpr int tokens = 150;
    const QString file = folder.filePath(u"tiny.gguf"_s);
    TestModel model = TestModel::saying({R"({"action":"open_app","app":"Safari"} )"});
    model.replies.first().ends = false;
    model.write(file);
    return {file, conversation(3000), tokens, 100};
}

int measureMemory(const QString &which, const Workload &work)
{
    if (which == u"bare"_s) {
        BareLoop bare(work.file);
        generate(bare, work);
    } else {
        LlamaEngine engine;
        QCoro::waitFor(engine.load(work.file));
        generate(engine, work);
    }
    std::printf("%.3f\n", Measure::peakResidentMB());
    return EXIT_SUCCESS;
}

void addGoals(std::vector<Measure::Goal> *goals, const QString &kind, const Json &figures)
{
    const std::string suffix = ", " + kind.toStdString() + " model";
    for (const char *what : {"promptToFirstToken", "perToken"})
        goals->push_back({std::string(what) + ", engine / bare" + suffix,
                          figures.at(what).at("ratio").at("median"), Measure::Goal::Side::atMost,
                          1.02});
    goals->push_back({"peak memory, engine - bare in MB" + suffix,
                      figures.at("memory").at("differenceMB"), Measure::Goal::Side::atMost, 20});
}

int measureAll(const QStringList &kinds, const QDir &folder)
{
    Json figures = Json::object();
    std::vector<Measure::Goal> goals;
    for (const QString &kind : kinds) {
        Measure::say("engine: times, " + kind.toStdString() + " model");
        Json both = compareTimes(workload(kind, folder));
        Measure::say("engine: memory, " + kind.toStdString() + " model");
        both["memory"] = compareMemory(kind);
        addGoals(&goals, kind, both);
        figures[kind.toStdString()] = both;
    }
    Measure::report("engine", goals, figures);
    return EXIT_SUCCESS;
}
} // namespace

// bench_engine [tiny|1.5B]
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    llama_log_set([](ggml_log_level, const char *, void *) {}, nullptr);
    const QTemporaryDir folder;
    QStringList arguments = QCoreApplication::arguments().sliced(1);
    try {
        if (arguments.size() == 3 && arguments.takeFirst() == u"--memory"_s)
            return measureMemory(arguments.first(), workload(arguments.last(), folder.path()));
        return measureAll(arguments.isEmpty() ? QStringList{tiny(), shaped()} : arguments,
                          folder.path());
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
