#include "bench/Measure.h"

#include <QCoreApplication>
#include <QProcess>
#include <QString>
#include <QSysInfo>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace {
double rank(const std::vector<double> &sorted, double share)
{
    if (sorted.empty())
        return 0;
    const double place = share * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    const double weight = place - static_cast<double>(below);
    return sorted[below] * (1 - weight) + sorted[above] * weight;
}

// POSIX has no call for the memory of a process, but both systems have ps.
double residentByPs()
{
    const std::string command = "ps -o rss= -p " + std::to_string(getpid());
    std::FILE *const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return 0;
    double kilobytes = 0;
    if (std::fscanf(pipe, "%lf", &kilobytes) != 1)
        kilobytes = 0;
    pclose(pipe);
    return kilobytes * 1024 / 1e6;
}

Measure::Json machine()
{
    std::array<double, 3> load{};
    if (getloadavg(load.data(), 3) < 1)
        load = {};
    return {{"system", QSysInfo::prettyProductName().toStdString()},
            {"architecture", QSysInfo::currentCpuArchitecture().toStdString()},
            {"processors", std::thread::hardware_concurrency()},
            {"qt", qVersion()},
            {"compiler", __VERSION__},
            {"load", load.front()}};
}
} // namespace

Measure::Summary Measure::summarize(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return {.median = rank(samples, 0.5),
            .lowerQuartile = rank(samples, 0.25),
            .upperQuartile = rank(samples, 0.75),
            .samples = samples.size()};
}

void Measure::to_json(Json &json, const Summary &summary)
{
    json = {{"median", summary.median},
            {"lowerQuartile", summary.lowerQuartile},
            {"upperQuartile", summary.upperQuartile},
            {"samples", summary.samples}};
}

std::vector<double> Measure::ratios(const std::vector<double> &a, const std::vector<double> &b)
{
    std::vector<double> result;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        result.push_back(a[i] / b[i]);
    return result;
}

std::vector<double> Measure::neighbourRatios(const std::vector<double> &samples)
{
    std::vector<double> result;
    for (std::size_t i = 1; i < samples.size(); ++i)
        result.push_back(samples[i] / samples[i - 1]);
    return result;
}

double Measure::growthExponent(const std::vector<std::pair<double, double>> &sizesAndTimes)
{
    const auto count = static_cast<double>(sizesAndTimes.size());
    double meanX = 0;
    double meanY = 0;
    for (const auto &[size, time] : sizesAndTimes) {
        meanX += std::log(size) / count;
        meanY += std::log(time) / count;
    }
    double covariance = 0;
    double variance = 0;
    for (const auto &[size, time] : sizesAndTimes) {
        const double x = std::log(size) - meanX;
        covariance += x * (std::log(time) - meanY);
        variance += x * x;
    }
    return covariance / variance;
}

double Measure::residentMB()
{
    std::ifstream statm("/proc/self/statm");
    double size = 0;
    double resident = 0;
    if (statm >> size >> resident)
        return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
    return residentByPs();
}

double Measure::peakResidentMB()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == "VmHWM:" && status >> kilobytes)
            return kilobytes * 1024 / 1e6;
    }
    return residentMB();
}

double Measure::peakResidentMBOf(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), arguments);
    process.waitForFinished(-1);
    bool isNumber = false;
    const double megabytes = process.readAllStandardOutput().trimmed().toDouble(&isNumber);
    if (!isNumber)
        throw std::runtime_error("The memory could not be measured.");
    return megabytes;
}

void Measure::say(const std::string &line)
{
    std::cerr << line << '\n' << std::flush;
}

void Measure::report(const std::string &benchmark, const std::vector<Goal> &goals,
                     const Json &figures)
{
    Json judged = Json::array();
    for (const Goal &goal : goals) {
        const bool isUpper = goal.side == Goal::Side::atMost;
        const bool holds = isUpper ? goal.measured <= goal.limit : goal.measured >= goal.limit;
        judged.push_back({{"what", goal.what},
                          {"measured", goal.measured},
                          {isUpper ? "atMost" : "atLeast", goal.limit},
                          {"holds", holds}});
    }
    const Json object{
        {"benchmark", benchmark}, {"machine", machine()}, {"goals", judged}, {"figures", figures}};
    std::cout << object.dump(2) << '\n';
}
