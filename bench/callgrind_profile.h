// The self cost of each function, read from callgrind_annotate's report of one run
// (--inclusive=no, every function shown).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct FunctionCost {
    uint64_t instructions;
    std::string function;
    std::string object;  // the shared object's path; empty when it cannot be told
};

struct CallgrindProfile {
    uint64_t total = 0;  // the report's program total
    std::vector<FunctionCost> functions;
};

// Code inlined from another file is listed under its own line without an object: it
// gets the object of the function of the same name, when only one object has one.
CallgrindProfile parseCallgrindAnnotate(const std::string& report);

}  // namespace bench
