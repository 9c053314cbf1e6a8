#include "callgrind_profile.h"

#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace bench {
namespace {

uint64_t parseCount(const std::string& text) {
    uint64_t value = 0;
    for (char c : text)
        if (c >= '0' && c <= '9') value = value * 10 + static_cast<uint64_t>(c - '0');
    return value;
}

// Fills in the objects of inlined lines from the other lines of the same function.
void attributeInlinedLines(std::vector<FunctionCost>& functions) {
    std::map<std::string, std::set<std::string>> objectsOf;
    for (const FunctionCost& f : functions)
        if (!f.object.empty()) objectsOf[f.function].insert(f.object);
    for (FunctionCost& f : functions) {
        if (!f.object.empty()) continue;
        auto found = objectsOf.find(f.function);
        if (found != objectsOf.end() && found->second.size() == 1)
            f.object = *found->second.begin();
    }
}

}  // namespace

CallgrindProfile parseCallgrindAnnotate(const std::string& report) {
    // "  1,234 ( 5.67%)  file:function [object]", the object missing on inlined lines.
    static const std::regex kFunctionLine(
        R"(^\s*([0-9,]+) \(\s*[0-9.]+%\)  ([^:]*):(.*?)(?: \[([^\[\]]*)\])?$)");
    static const std::regex kTotalLine(R"(^\s*([0-9,]+) \(\s*[0-9.]+%\)  PROGRAM TOTALS$)");
    CallgrindProfile profile;
    std::istringstream lines(report);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, kTotalLine))
            profile.total = parseCount(match[1]);
        else if (std::regex_match(line, match, kFunctionLine))
            profile.functions.push_back({parseCount(match[1]), match[3], match[4]});
    }
    attributeInlinedLines(profile.functions);
    return profile;
}

}  // namespace bench
