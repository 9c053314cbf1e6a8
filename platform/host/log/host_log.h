// The host platform's own log records, beside the library's: what the host refused or
// what failed, and why. They are kept and echoed as the library's records are (a shown
// copy when their level is shown, a stored one always), under the host's module number
// hostctl::kHostLogModule, as one line of text starting "host: " without a source file.
#pragma once

#include <cstdarg>
#include <string>

namespace host::log {

enum Level : unsigned int { kInfo = 2, kWarning = 3, kError = 4 };

void report(unsigned int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// A warning naming why a call is refused; returns `code`, which the caller hands back.
int refuse(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The printf text of `format` with `args`; the format itself when it cannot be formatted.
std::string formatText(const char* format, va_list args);

}  // namespace host::log
