#include "log/field_check.h"

#include <cstdarg>

#include "log/host_log.h"

namespace host::log {

FieldCheck& FieldCheck::require(bool ok, const char* format, ...) {
    if (ok || !mPassed) return *this;
    mPassed = false;
    va_list args;
    va_start(args, format);
    std::string what = formatText(format, args);
    va_end(args);
    report(kWarning, "%s: %s", mCall.c_str(), what.c_str());
    return *this;
}

}  // namespace host::log
