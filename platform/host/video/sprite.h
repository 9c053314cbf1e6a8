// Pictures with per-pixel alpha (logos, icons) drawn into Frames. A picture is converted
// to the frame's colour space once, when it is made, and laid on the frame's 4:2:0 grid
// once per position, so drawing it into every frame costs only the blend.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/frame.h"

namespace host::video {

// A picture in the frame's colour space at full resolution: one plane per component,
// rows top-down, width * height samples each.
struct YuvaPicture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> y, u, v, alpha;
    bool opaque = false;  // every alpha sample is 255
};

// Converts top-down BGRA8888 pixels; without `useAlpha` every pixel is opaque, whatever
// its fourth byte says.
YuvaPicture yuvaFromBgra(const uint8_t* bgra, uint32_t width, uint32_t height, bool useAlpha);

// A picture placed with its top-left corner at (x, y), anywhere in or out of the frame.
// Each 2x2 chroma block the placed picture touches takes the alpha-weighted mean colour
// of its pixels and their mean alpha (pixels outside the picture count as transparent),
// as text masks are blended.
class Sprite {
public:
    Sprite(std::shared_ptr<const YuvaPicture> picture, int x, int y);

    // Blends the picture into the frame, clipped to it.
    void draw(Frame& frame) const;

private:
    void drawLuma(Frame& frame) const;
    void drawChroma(Frame& frame) const;

    std::shared_ptr<const YuvaPicture> mPicture;  // shared with the image it was made from
    int64_t mX, mY;
    // The chroma blocks the picture touches, from block (mChromaX, mChromaY) on, in the
    // frame's chroma coordinates.
    int64_t mChromaX, mChromaY;
    uint32_t mChromaWidth, mChromaHeight;
    std::vector<uint8_t> mU, mV, mChromaAlpha;
};

}  // namespace host::video
