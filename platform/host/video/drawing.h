// Drawing into a Frame: plain rectangles and alpha masks (rendered text, logos), always
// clipped to the frame, so any position, partly or wholly outside it, is safe.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "video/frame.h"

namespace host::video {

struct Yuv {
    uint8_t y, u, v;
};

// BT.601 full range, as JFIF has it; the H.264 stream signals full range too, so both
// decoders show the colours drawn here.
constexpr Yuv yuvFromRgb(uint8_t r, uint8_t g, uint8_t b) {
    // Coefficients scaled by 2^16; each chroma row sums to zero, so grays keep 128.
    constexpr int kHalf = 1 << 15;
    constexpr int kOffset = 128 << 16;
    int y = (19595 * r + 38470 * g + 7471 * b + kHalf) >> 16;
    int u = (-11059 * r - 21709 * g + 32768 * b + kOffset + kHalf) >> 16;
    int v = (32768 * r - 27439 * g - 5329 * b + kOffset + kHalf) >> 16;
    return {static_cast<uint8_t>(std::clamp(y, 0, 255)),
            static_cast<uint8_t>(std::clamp(u, 0, 255)),
            static_cast<uint8_t>(std::clamp(v, 0, 255))};
}

// Coverage, one byte a pixel, row after row: 255 paints the colour, 0 leaves the frame.
struct AlphaMask {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> alpha;
};

// How a mask is laid into the frame: as it stands, or read mirrored and/or upside down
// (for pictures drawn as a flipped sensor would show them).
struct MaskFlip {
    bool mirror = false;
    bool upsideDown = false;
};

// A chroma sample is painted when its 2x2 block touches the rectangle.
void fillRect(Frame& frame, int x, int y, int width, int height, Yuv colour);

// Blends `colour` through `mask`, placed with its top-left corner at (x, y). Chroma takes
// the mean coverage of each 2x2 block. A mask whose bytes do not fill its size draws nothing.
void blendMask(Frame& frame, const AlphaMask& mask, int x, int y, Yuv colour, MaskFlip flip = {});

}  // namespace host::video
