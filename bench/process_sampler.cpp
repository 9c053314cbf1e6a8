#include "process_sampler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace bench {
namespace {

long statusField(const std::string& status, const char* name) {
    const std::string key = std::string("\n") + name + ":";
    std::size_t at = status.find(key);
    return at == std::string::npos ? -1 : std::strtol(status.c_str() + at + key.size(), nullptr, 10);
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

}  // namespace

ProcessSample sampleProcess(pid_t pid) {
    const std::string proc = "/proc/" + std::to_string(pid);
    std::ifstream file(proc + "/status");
    const std::string status = "\n" + std::string(std::istreambuf_iterator<char>(file), {});
    ProcessSample sample;
    sample.residentKb = statusField(status, "VmRSS");
    sample.threads = statusField(status, "Threads");
    sample.openFiles = countEntries(proc + "/fd");
    return sample;
}

void reportGrowth(Report& report, const std::vector<ProcessSample>& samples, std::size_t warmUp,
                  const std::string& unit, double perSample, double flatTargetMb) {
    if (samples.size() < warmUp + 8) {
        report.note("too few samples after warm-up to judge growth");
        return;
    }
    const std::size_t last = samples.size() - 1;
    const std::size_t quarter = std::max<std::size_t>(1, (last - warmUp) / 4);
    auto span = [&](std::size_t count) {
        char text[32];
        std::snprintf(text, sizeof text, "%.0f %s", count * perSample, unit.c_str());
        return std::string(text);
    };
    report.note("warm-up: the first " + span(warmUp) + "; each end is the median of the " +
                "samples within two of it");
    for (const Figure& f : kFigures) {
        const double atWarmUp = medianAround(samples, warmUp, f.field) * f.scale;
        const double atEnd = medianAround(samples, last, f.field) * f.scale;
        const double lastQuarter =
            (medianAround(samples, last, f.field) - medianAround(samples, last - quarter, f.field)) *
            f.scale;
        const std::string name = f.name;
        report.figure(name + " after warm-up", atWarmUp, f.unit, f.decimals);
        report.figure(name + " at the end", atEnd, f.unit, f.decimals);
        report.figure(name + " growth after warm-up", atEnd - atWarmUp, f.unit, f.decimals);
        const double target = f.field == &ProcessSample::residentKb ? flatTargetMb : 0;
        report.figure(name + " growth over the last " + span(quarter), lastQuarter, f.unit,
                      Target::atMost(target), f.decimals);
    }
    const std::size_t step = std::max<std::size_t>(1, last / 12);
    std::string curve = "MB/files/threads by " + unit + ":";
    for (std::size_t i = 0; i <= last; i += step) {
        char point[64];
        std::snprintf(point, sizeof point, " %.0f:%.1f/%ld/%ld", i * perSample,
                      samples[i].residentKb / 1024.0, samples[i].openFiles, samples[i].threads);
        curve += point;
    }
    report.note(curve);
}

}  // namespace bench
