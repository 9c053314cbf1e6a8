// Which log levels the host platform shows when a process starts. A developer on a PC
// chooses them with the environment variable KQ_HOST_LOG_LEVEL; the library itself
// reads no environment.
#pragma once

#include "control/host_control.h"

namespace host::log {

constexpr const char* kLevelVariable = "KQ_HOST_LOG_LEVEL";

// Warnings and errors, the default.
constexpr unsigned int kDefaultLevels = hostctl::logLevelsFrom(3);

// The levels a value of KQ_HOST_LOG_LEVEL names: the lowest level shown as debug,
// info, warning (or warn), error, in any case, or as 1 to 4; off or 0 for none.
// False for any other value.
bool parseLevels(const char* value, unsigned int* levels);

// The levels chosen by KQ_HOST_LOG_LEVEL, read once per process: the default when it
// is unset or empty, and also for an unknown value, after one notice on stderr.
unsigned int startupLevels();

}  // namespace host::log
