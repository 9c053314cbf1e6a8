#include "live_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace live {
namespace {

std::mutex& logMutex() {
    static std::mutex mutex;
    return mutex;
}

std::function<void(LogLevel, const std::string&)>& listener() {
    static std::function<void(LogLevel, const std::string&)> function;
    return function;
}

const char* levelName(LogLevel level) {
    switch (level) {
        case LogLevel::Info: return "info";
        case LogLevel::Warning: return "warning";
        case LogLevel::Error: return "error";
    }
    return "?";
}

}  // namespace

void logLine(LogLevel level, const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    std::lock_guard<std::mutex> lock(logMutex());
    std::fprintf(stderr, "kq-live: %s: %s\n", levelName(level), text);
    if (listener()) listener()(level, text);
}

void setLogListener(std::function<void(LogLevel, const std::string&)> function) {
    std::lock_guard<std::mutex> lock(logMutex());
    listener() = std::move(function);
}

}  // namespace live
