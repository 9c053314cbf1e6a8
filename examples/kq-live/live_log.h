// kq-live's own messages (viewers, refusals, failures), one line each on stderr, and to
// a listener the application may add (the web page's log).
#pragma once

#include <functional>
#include <string>

namespace live {

enum class LogLevel { Info = 2, Warning = 3, Error = 4 };

// printf-style; any thread.
void logLine(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Also hands every line to `listener` (null: no longer); it runs on the logging thread.
void setLogListener(std::function<void(LogLevel, const std::string&)> listener);

}  // namespace live
