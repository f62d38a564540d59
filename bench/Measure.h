#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

/// What the benchmarks share: clocks, robust figures, memory, and the one JSON object that each of
/// them prints. Figures come from many short rounds and are summarised by ranks, so that a busy
/// neighbour on the machine spoils a few rounds and not the result.
namespace Measure {
using Json = nlohmann::ordered_json;

class Stopwatch
{
public:
    [[nodiscard]] double seconds() const
    {
        return std::chrono::duration<double>(Clock::now() - m_start).count();
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_start = Clock::now();
};

/// The middle of the samples and the quartiles around it.
struct Summary
{
    double median = 0;
    double lowerQuartile = 0;
    double upperQuartile = 0;
    std::size_t samples = 0;
};

[[nodiscard]] Summary summarize(std::vector<double> samples);
void to_json(Json &json, const Summary &summary);

/// a / b, pair by pair: what was measured in the same round met the same neighbours.
[[nodiscard]] std::vector<double> ratios(const std::vector<double> &a,
                                         const std::vector<double> &b);

/// Each sample over the one before it: what the ratio of equal things looks like on this machine.
[[nodiscard]] std::vector<double> neighbourRatios(const std::vector<double> &samples);

/// The exponent e of time ~ size^e, by least squares over the logarithms.
[[nodiscard]] double growthExponent(const std::vector<std::pair<double, double>> &sizesAndTimes);

/// Main memory that this process occupies now, in MB (10^6 bytes). Mapped files count.
[[nodiscard]] double residentMB();

/// The most that it ever occupied; what it occupies now where the system does not tell.
[[nodiscard]] double peakResidentMB();

/// A line of progress on standard error.
void say(const std::string &line);

/// A figure that ought to stay on one side of a limit.
struct Goal
{
    enum class Side { atMost, atLeast };

    std::string what;
    double measured = 0;
    Side side = Side::atMost;
    double limit = 0;
};

/// Prints the benchmark's one JSON object on standard output: name, machine, goals, figures.
void report(const std::string &benchmark, const std::vector<Goal> &goals, const Json &figures);
} // namespace Measure
