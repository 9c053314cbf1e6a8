#include "bench_report.h"

#include <cstdio>

namespace bench {
namespace {

std::string formatNumber(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// A limit as written: "0", "1.3", "2000".
std::string formatLimit(double limit) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", limit);
    return text;
}

}  // namespace

Report::Report(const std::string& benchmark) {
    std::printf("%s\n", benchmark.c_str());
    std::fflush(stdout);
}

void Report::figure(const std::string& name, double value, const std::string& unit, int decimals) {
    print(name, value, unit, decimals, "");
}

void Report::figure(const std::string& name, double value, const std::string& unit,
                    const Target& target, int decimals) {
    bool met = target.met(value);
    const char* bound = target.floor ? "at least " : target.strict ? "under " : "at most ";
    const char* miss = target.floor ? "BELOW TARGET" : "ABOVE TARGET";
    std::string judgement =
        std::string("target ") + bound + formatLimit(target.limit) + "  " + (met ? "PASS" : miss);
    print(name, value, unit, decimals, judgement);
}

void Report::note(const std::string& text) {
    std::printf("  %s\n", text.c_str());
    std::fflush(stdout);
}

void Report::print(const std::string& name, double value, const std::string& unit, int decimals,
                   const std::string& judgement) {
    std::printf("  %-44s %12s %-22s %s\n", name.c_str(), formatNumber(value, decimals).c_str(),
                unit.c_str(), judgement.c_str());
    std::fflush(stdout);
}

}  // namespace bench
