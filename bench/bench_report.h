// The lines a benchmark prints: one per figure, with its unit and, for the figures that
// have one, the target and whether it was met.
#pragma once

#include <string>

namespace bench {

// A bound on a figure: "at most" or, when strict, "under"; or, for a floor, "at least".
struct Target {
    double limit;
    bool strict = false;
    bool floor = false;

    static Target atMost(double limit) { return {limit, false}; }
    static Target under(double limit) { return {limit, true}; }
    static Target atLeast(double limit) { return {limit, false, true}; }
    bool met(double value) const {
        if (floor) return value >= limit;
        return strict ? value < limit : value <= limit;
    }
};

class Report {
public:
    // Prints the benchmark's heading.
    explicit Report(const std::string& benchmark);

    // A figure given for context.
    void figure(const std::string& name, double value, const std::string& unit, int decimals = 0);
    // A figure measured against `target`.
    void figure(const std::string& name, double value, const std::string& unit,
                const Target& target, int decimals = 0);
    // A remark between the figures, such as why one is missing.
    void note(const std::string& text);

private:
    void print(const std::string& name, double value, const std::string& unit, int decimals,
               const std::string& judgement);
};

}  // namespace bench
