#include <cerrno>
#include <cstring>

#include "log_entry.h"

// The host platform reports failures as negative errno values; the library's own
// codes (-24, -16, ...) and positive codes are named the same way.
const char* errno2str(int code) {
    if (code == 0) return "Success";
    int number = code < 0 ? -code : code;
    if (code == -2147483647 - 1) return "Unknown error";
    const char* text = strerrordesc_np(number);
    return text ? text : "Unknown error";
}
