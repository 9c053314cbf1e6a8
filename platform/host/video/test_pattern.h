// The image channel's moving test pattern: static colour bars, a box that moves with
// the frame number and a frame counter, shaded by the image settings and flipped as a
// sensor flip would show it.
#pragma once

#include <cstdint>

#include "video/drawing.h"
#include "video/frame.h"

namespace host::video {

// How the image settings and flip change the picture (media/picture_look.h makes one
// from the support library's settings).
struct PictureLook {
    int brightness = 128, contrast = 128, saturation = 128, hue = 128;  // 0..255, 128 neutral
    bool gray = false;
    bool mirror = false;      // flip bit 0: left and right swapped
    bool upsideDown = false;  // flip bit 1

    // A scene colour as the sensor delivers it under these settings.
    Yuv shade(Yuv colour) const;
};

class TestPattern {
public:
    // Draws picture number `frameNumber` into `frame` (already sized and timestamped).
    // Leaves a frame that is not valid() untouched.
    void render(uint64_t frameNumber, const PictureLook& look, Frame& frame);

private:
    AlphaMask mCounter;  // reused so a steady stream allocates nothing
};

}  // namespace host::video
