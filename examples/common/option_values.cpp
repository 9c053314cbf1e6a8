#include "option_values.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace examples {

bool parseUnsigned(const char* text, uint32_t min, uint32_t max, uint32_t* value) {
    if (!std::isdigit(static_cast<unsigned char>(*text))) return false;
    char* end = nullptr;
    unsigned long long v = std::strtoull(text, &end, 10);
    if (*end || v < min || v > max) return false;
    *value = static_cast<uint32_t>(v);
    return true;
}

bool parseVideoSize(const char* text, VideoSize* size) {
    unsigned int w = 0, h = 0, fps = 0;
    char end = 0;
    if (std::sscanf(text, "%ux%u@%u%c", &w, &h, &fps, &end) != 3 || !w || !h || !fps) return false;
    *size = {w, h, fps};
    return true;
}

}  // namespace examples
