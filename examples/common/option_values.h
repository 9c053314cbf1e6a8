// Option values the example applications share: whole numbers within bounds and video
// sizes written WIDTHxHEIGHT@FPS.
#pragma once

#include <cstdint>

namespace examples {

struct VideoSize {
    uint32_t width;
    uint32_t height;
    uint32_t fps;
};

// A decimal number of `text` alone (no sign, no trailing characters) within [min, max].
bool parseUnsigned(const char* text, uint32_t min, uint32_t max, uint32_t* value);
// "1920x1080@25", each figure above 0.
bool parseVideoSize(const char* text, VideoSize* size);

}  // namespace examples
