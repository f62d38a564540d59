#pragma once

#include <QStringList>

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

/// Shared by the benchmarks: clocks, robust statistics, memory, and the JSON object that each of
/// them prints. Figures come from many short rounds and are summarised by quantiles, so that other
/// load on the machine affects some rounds but not the result.
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

/// The median of the samples and the quartiles.
struct Summary
{
    double median = 0;
    double lowerQuartile = 0;
    double upperQuartile = 0;
    std::size_t samples = 0;
};

[[nodiscard]] Summary summarize(std::vector<double> samples);
void to_json(Json &json, const Summary &summary);

/// a / b for each round: both were measured under the same load.
[[nodiscard]] std::vector<double> ratios(const std::vector<double> &a,
                                         const std::vector<double> &b);

/// Each sample divided by the previous one: how much ratios of equal things vary on this machine.
[[nodiscard]] std::vector<double> neighbourRatios(const std::vector<double> &samples);

/// The exponent e of time ~ size^e, by least squares of the logarithms.
[[nodiscard]] double growthExponent(const std::vector<std::pair<double, double>> &sizesAndTimes);

/// The process's resident memory now, in MB (10^6 bytes), including mapped files.
[[nodiscard]] double residentMB();

/// The maximum of it so far; if the system does not tell that, the value now.
[[nodiscard]] double peakResidentMB();

/// Runs this program again with the arguments, and returns the maximum that it prints: a process
/// rarely returns memory to the system. Throws std::runtime_error if it prints none.
[[nodiscard]] double peakResidentMBOf(const QStringList &arguments);

/// A line of progress on standard error.
void say(const std::string &line);

/// A figure with a limit that it should not cross.
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
