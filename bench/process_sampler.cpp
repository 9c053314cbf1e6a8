#include "process_sampler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace bench {
namespace {

long statusField(const std::string& status, const char* name) {
    const std::string key = std::string("\n") + name + ":";
    std::size_t at = status.find(key);
    return at == std::string::npos ? -1
                                   : std::strtol(status.c_str() + at + key.size(), nullptr, 10);
}

long countEntries(const std::string& folder) {
    std::error_code error;
    long count = 0;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error))
        ++count;
    return error ? -1 : count;
}

using Field = long ProcessSample::*;

long medianAround(const std::vector<ProcessSample>& samples, std::size_t i, Field field) {
    const std::size_t from = i < 2 ? 0 : i - 2;
    const std::size_t to = std::min(samples.size(), i + 3);
    std::vector<long> near;
    for (std::size_t k = from; k < to; ++k) near.push_back(samples[k].*field);
    std::nth_element(near.begin(), near.begin() + near.size() / 2, near.end());
    return near[near.size() / 2];
}

struct Figure {
    const char* name;
    Field field;
    double scale;  // from the sample's unit to the printed one
    const char* unit;
    int decimals;
};

constexpr Figure kFigures[] = {{"resident size", &ProcessSample::residentKb, 1.0 / 1024, "MB", 2},
                               {"open files", &ProcessSample::openFiles, 1, "files", 0},
                               {"threads", &ProcessSample::threads, 1, "threads", 0}};

std::string span(double amount, const std::string& unit) {
    char text[48];
    std::snprintf(text, sizeof text, "%.0f %s", amount, unit.c_str());
    return text;
}

}  // namespace

ProcessSample sampleProcess(pid_t pid, double at) {
    const std::string proc = "/proc/" + std::to_string(pid);
    std::ifstream file(proc + "/status");
    const std::string status = "\n" + std::string(std::istreambuf_iterator<char>(file), {});
    ProcessSample sample;
    sample.at = at;
    sample.residentKb = statusField(status, "VmRSS");
    sample.threads = statusField(status, "Threads");
    sample.openFiles = countEntries(proc + "/fd");
    return sample;
}

void printTableHeading(const std::string& unit) {
    std::printf("  %10s %12s %10s %8s\n", unit.c_str(), "resident MB", "open files", "threads");
    std::fflush(stdout);
}

void printTableRow(const ProcessSample& sample) {
    std::printf("  %10.0f %12.2f %10ld %8ld\n", sample.at, sample.residentKb / 1024.0,
                sample.openFiles, sample.threads);
    std::fflush(stdout);
}

void printTable(const std::vector<ProcessSample>& samples, const std::string& unit,
                std::size_t rows) {
    if (samples.empty()) return;
    printTableHeading(unit);
    const std::size_t last = samples.size() - 1;
    const std::size_t step =
        std::max<std::size_t>(1, (last + rows - 1) / std::max<std::size_t>(1, rows));
    for (std::size_t i = 0; i < last; i += step) printTableRow(samples[i]);
    printTableRow(samples[last]);
}

void reportGrowth(Report& report, const std::vector<ProcessSample>& samples, double warmUp,
                  const std::string& unit, double ratePer, double flatTargetMb) {
    const auto warm = std::find_if(samples.begin(), samples.end(),
                                   [&](const ProcessSample& s) { return s.at >= warmUp; });
    const std::size_t from = static_cast<std::size_t>(warm - samples.begin());
    if (samples.size() < from + 8) {
        report.note("too few samples after warm-up to judge growth");
        return;
    }
    const std::size_t last = samples.size() - 1;
    const std::size_t quarter = std::max<std::size_t>(1, (last - from) / 4);
    const double ran = samples[last].at - samples[from].at;
    const std::string quarterSpan = span(samples[last].at - samples[last - quarter].at, unit);
    report.note("warm-up: the first " + span(samples[from].at, unit) +
                "; a quarter after it: " + quarterSpan +
                "; each end is the median of the samples within two of it; " + "goal: flat");
    for (const Figure& f : kFigures) {
        auto at = [&](std::size_t i) { return medianAround(samples, i, f.field) * f.scale; };
        const std::string name = f.name;
        const double growth = at(last) - at(from);
        report.figure(name + " after warm-up", at(from), f.unit, f.decimals);
        report.figure(name + " at the end", at(last), f.unit, f.decimals);
        report.figure(name + " growth after warm-up", growth, f.unit, f.decimals);
        report.figure(name + " growth per " + span(ratePer, unit), growth * ratePer / ran, f.unit,
                      2);
        report.figure(name + " growth, first quarter", at(from + quarter) - at(from), f.unit,
                      f.decimals);
        const double target = f.field == &ProcessSample::residentKb ? flatTargetMb : 0;
        report.figure(name + " growth, last quarter", at(last) - at(last - quarter), f.unit,
                      Target::atMost(target), f.decimals);
    }
}

}  // namespace bench
