// The speed of parsing replies, and the growth of the time for hostile ones from 1 KB to 10 MB.
#include "agent/action/AgentAction.h"
#include "bench/Measure.h"

#include <QString>

#include <functional>

namespace {
using Measure::Json;

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QString inArgument(const QString &value)
{
    return text(R"({"action":"x","a":)") + value + text("}");
}

// As many repetitions as fit into the size, with their closing parts.
QString nested(const char *open, const char *inside, const char *close, qsizetype size)
{
    const qsizetype levels = size / (text(open).size() + text(close).size());
    return text(open).repeated(levels) + text(inside) + text(close).repeated(levels);
}

QString numbered(const char *pattern, const char *parts, qsizetype size)
{
    QString result;
    result.reserve(size + 64);
    for (qsizetype i = 0; result.size() < size; ++i)
        result += (i == 0 ? QString() : text(parts)) + text(pattern).arg(i);
    return result;
}

struct Shape
{
    const char *name;
    std::function<QString(qsizetype size)> write;
    /// Further work to measure besides the parsing.
    std::function<void(const AgentAction &)> use = {};
};

const std::vector<Shape> &hostileShapes()
{
    static const std::vector<Shape> shapes{
        {"opening braces", [](qsizetype n) { return text("{").repeated(n); }},
        {"opening brackets", [](qsizetype n) { return text("{") + text("[").repeated(n); }},
        {"brackets without a brace", [](qsizetype n) { return text("[").repeated(n); }},
        {"brackets in the object, closed at last",
         [](qsizetype n) { return inArgument(text("[").repeated(n)); }},
        {"nested objects", [](qsizetype n) { return inArgument(nested(R"({"a":)", "1", "}", n)); }},
        {"nested objects, never closed", [](qsizetype n) { return nested(R"({"a":)", "", "", n); }},
        {"nested arrays", [](qsizetype n) { return inArgument(nested("[", "1", "]", n)); }},
        {"nested arrays and objects",
         [](qsizetype n) { return inArgument(nested(R"([{"a":)", "1", "}]", n)); }},
        {"arrays that begin with an array",
         [](qsizetype n) { return inArgument(nested("[", "1", ",1]", n)); }},
        {"one long string",
         [](qsizetype n) { return inArgument(u'"' + text("a").repeated(n) + u'"'); }},
        {"one long string, never closed",
         [](qsizetype n) { return text(R"({"a)") + text("a").repeated(n); }},
        {"escaped backslashes",
         [](qsizetype n) { return inArgument(u'"' + text(R"(\\)").repeated(n / 2) + u'"'); }},
        {"escaped quotes",
         [](qsizetype n) { return inArgument(u'"' + text(R"(\")").repeated(n / 2) + u'"'); }},
        {"escaped surrogate pairs",
         [](qsizetype n) {
             return inArgument(u'"' + text(R"(\ud83d\ude00)").repeated(n / 12) + u'"');
         }},
        {"lone backslashes", [](qsizetype n) { return text("{") + text("\\").repeated(n); }},
        {"quotes", [](qsizetype n) { return text("{") + text("\"").repeated(n); }},
        {"four-byte characters",
         [](qsizetype n) { return inArgument(u'"' + text("😀").repeated(n / 2) + u'"'); }},
        {"many members",
         [](qsizetype n) {
             return text(R"({"action":"x",)") + numbered(R"("%1":1)", ",", n) + text("}");
         }},
        {"one member again and again",
         [](qsizetype n) {
             return text(R"({"action":"x",)") + nested(R"("a":"b",)", R"("a":1)", "", n) +
                    text("}");
         }},
        {"an argument block again and again",
         [](qsizetype n) {
             return text(R"({"action":"x",)") + nested(R"("args":{"a":1},)", R"("b":1)", "", n) +
                    text("}");
         }},
        {"many arguments in the block",
         [](qsizetype n) {
             return text(R"({"action":"x","args":{)") + numbered(R"("%1":1)", ",", n) + text("}}");
         }},
        {"many elements",
         [](qsizetype n) { return inArgument(u'[' + numbered("%1", ",", n) + u']'); }},
        {"many fractions",
         [](qsizetype n) { return inArgument(u'[' + numbered("%1.1", ",", n) + u']'); }},
        {"one long number", [](qsizetype n) { return inArgument(text("7").repeated(n)); }},
        {"one long fraction",
         [](qsizetype n) { return inArgument(text("0.") + text("7").repeated(n)); }},
        {"white space", [](qsizetype n) { return inArgument(text(" ").repeated(n) + u'1'); }},
        {"prose before the object",
         [](qsizetype n) { return text("I think so. ").repeated(n / 12) + inArgument(text("1")); }},
        {"prose after the object",
         [](qsizetype n) {
             return inArgument(text("1")) + text(" Done, I think.").repeated(n / 15);
         }},
        {"title of a long address",
         [](qsizetype n) {
             return text(R"({"action":"open_url","url":")") + text("http://a").repeated(n / 8) +
                    text("\"}");
         },
         [](const AgentAction &action) { static_cast<void>(action.title()); }},
        {"title of a long unknown name",
         [](qsizetype n) {
             return text(R"({"action":")") + text("scroll_").repeated(n / 7) + text("\"}");
         },
         [](const AgentAction &action) { static_cast<void>(action.title()); }},
    };
    return shapes;
}

const std::vector<Shape> &usualReplies()
{
    static const std::vector<Shape> replies{
        {"bare object",
         [](qsizetype) {
             return text(
                 R"({"action":"open_url","url":"https://example.org/a?b=c","app":"Safari"})");
         }},
        {"fenced, between prose",
         [](qsizetype) {
             return text("Sure! I'll open the browser first.\n```json\n"
                         R"({"action":"open_app","app":"Safari"})"
                         "\n```\nThen I will search for it.");
         }},
        {"argument block with an array",
         [](qsizetype) {
             return text(
                 R"({"tool":"press_key","parameters":{"key":"l","modifiers":["command"]}})");
         }},
        {"typed paragraph",
         [](qsizetype) {
             return text(
                 R"({"action":"type_text","text":"Dear all,\n\nwe meet on “Tuesday” at 9:30 — )"
                 R"(please bring the \"blue\" folder and 2.5 kg of patience. )"
                 R"(Größe, naïveté, 東京, 😀 are all fine.\n\nBest wishes"})");
         }},
    };
    return replies;
}

struct Timing
{
    double bytes = 0;
    Measure::Summary seconds;
};

// Repeats the work until there are enough rounds of sufficient length.
Timing measure(const Shape &shape, qsizetype size)
{
    constexpr double enoughSeconds = 0.03;
    constexpr std::size_t fewestRounds = 5;
    const QString reply = shape.write(size);
    const auto once = [&] {
        const std::optional<AgentAction> action = AgentAction::parse(reply);
        if (action && shape.use)
            shape.use(*action);
    };

    const Measure::Stopwatch first;
    once();
    const int batch = std::max(1, static_cast<int>(1e-4 / std::max(first.seconds(), 1e-8)));
    std::vector<double> rounds;
    const Measure::Stopwatch total;
    while (rounds.size() < fewestRounds || total.seconds() < enoughSeconds) {
        const Measure::Stopwatch round;
        for (int i = 0; i < batch; ++i)
            once();
        rounds.push_back(round.seconds() / batch);
    }
    return {static_cast<double>(reply.toUtf8().size()), Measure::summarize(rounds)};
}

Json usual(double *slowestMicroseconds)
{
    Json result = Json::object();
    for (const Shape &reply : usualReplies()) {
        Measure::say(std::string("parser: ") + reply.name);
        const Timing timing = measure(reply, 0);
        const double microseconds = timing.seconds.median * 1e6;
        *slowestMicroseconds = std::max(*slowestMicroseconds, microseconds);
        result[reply.name] = {{"bytes", timing.bytes},
                              {"microseconds", microseconds},
                              {"MBPerSecond", timing.bytes / 1e6 / timing.seconds.median}};
    }
    return result;
}

Json hostile(double *steepestGrowth, double *slowestMBPerSecond)
{
    constexpr qsizetype smallest = 1'000;
    constexpr qsizetype largest = 10'000'000;
    Json result = Json::object();
    for (const Shape &shape : hostileShapes()) {
        Measure::say(std::string("parser: ") + shape.name);
        std::vector<std::pair<double, double>> points;
        for (qsizetype size = smallest; size <= largest; size *= 10) {
            const Timing timing = measure(shape, size);
            points.emplace_back(timing.bytes, timing.seconds.median);
        }
        const double exponent = Measure::growthExponent(points);
        const double throughput = points.back().first / 1e6 / points.back().second;
        *steepestGrowth = std::max(*steepestGrowth, exponent);
        *slowestMBPerSecond = std::min(*slowestMBPerSecond, throughput);
        result[shape.name] = {{"exponent", exponent},
                              {"microsecondsAt1KB", points.front().second * 1e6},
                              {"millisecondsAt10MB", points.back().second * 1e3},
                              {"MBPerSecondAt10MB", throughput}};
    }
    return result;
}
} // namespace

int main()
{
    double slowestReply = 0;
    double steepestGrowth = 0;
    double slowestThroughput = 1e9;
    const Json usualFigures = usual(&slowestReply);
    const Json hostileFigures = hostile(&steepestGrowth, &slowestThroughput);
    // Growth may exceed 1 a little: maps need logarithmic time per key, and large texts do not fit
    // into the processor's caches.
    Measure::report("parser",
                    {{"steepest growth exponent from 1 KB to 10 MB", steepestGrowth,
                      Measure::Goal::Side::atMost, 1.2}},
                    {{"usualReplies", usualFigures},
                     {"hostileReplies", hostileFigures},
                     {"slowestUsualReplyMicroseconds", slowestReply},
                     {"slowestHostileMBPerSecond", slowestThroughput},
                     {"peakResidentMB", Measure::peakResidentMB()}});
    return 0;
}
