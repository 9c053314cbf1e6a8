#include "log/host_log.h"

#include <cstdio>

#include "log/log_store.h"

namespace host::log {
namespace {

void vreport(unsigned int level, const char* format, va_list args) {
    std::string text = "host: " + formatText(format, args);
    using Path = hostctl::LogRecord::Path;
    // The shown copy is dropped unless its level is shown.
    host::log::storeRecord({Path::Shown, level, hostctl::kHostLogModule, "", 0, text, {}});
    host::log::storeRecord(
        {Path::Stored, level, hostctl::kHostLogModule, "", 0, std::move(text), {}});
}

}  // namespace

std::string formatText(const char* format, va_list args) {
    if (!format) return "(null format)";
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n < 0) return format;
    std::string text(static_cast<size_t>(n) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, args);
    text.resize(static_cast<size_t>(n));
    return text;
}

void report(unsigned int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vreport(level, format, args);
    va_end(args);
}

int refuse(int code, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vreport(kWarning, format, args);
    va_end(args);
    return code;
}

}  // namespace host::log
