#include "log/log_level.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>

namespace host::log {
namespace {

struct LevelName {
    const char* name;
    unsigned int lowest;  // 5: nothing shown
};

constexpr LevelName kNames[] = {
    {"debug", 1}, {"info", 2}, {"warning", 3}, {"warn", 3}, {"error", 4}, {"off", 5},
    {"1", 1},     {"2", 2},    {"3", 3},       {"4", 4},    {"0", 5},
};

unsigned int readEnvironment() {
    const char* value = std::getenv(kLevelVariable);
    if (!value || !*value) return kDefaultLevels;
    unsigned int levels = kDefaultLevels;
    if (parseLevels(value, &levels)) return levels;
    std::fprintf(stderr,
                 "host platform: %s=\"%s\" is none of debug, info, warning, error, off "
                 "(or 1-4, 0): showing warnings and errors\n",
                 kLevelVariable, value);
    return kDefaultLevels;
}

}  // namespace

bool parseLevels(const char* value, unsigned int* levels) {
    if (!value) return false;
    for (const LevelName& level : kNames) {
        if (strcasecmp(value, level.name) != 0) continue;
        *levels = hostctl::logLevelsFrom(level.lowest);
        return true;
    }
    return false;
}

unsigned int startupLevels() {
    static const unsigned int levels = readEnvironment();
    return levels;
}

}  // namespace host::log
