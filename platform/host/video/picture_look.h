// How the image settings and flip change the picture the sensor delivers: a colour at a
// time (for pictures drawn shape by shape) or a whole frame in place (for pictures that
// come from a file or a webcam).
#pragma once

#include <cstdint>

#include "video/drawing.h"
#include "video/frame.h"

namespace host::video {

// media/picture_look.h makes one from the support library's settings.
struct PictureLook {
    int brightness = 128, contrast = 128, saturation = 128, hue = 128;  // 0..255, 128 neutral
    bool gray = false;
    bool mirror = false;      // flip bit 0: left and right swapped
    bool upsideDown = false;  // flip bit 1

    // A scene colour as the sensor delivers it under these settings.
    Yuv shade(Yuv colour) const;
    // Whether shade() gives back every colour unchanged.
    bool neutralShade() const;
};

// Shades every pixel of `frame` as shade() would, then flips it; a frame that is not
// valid() is left alone. The pixels are shaded through tables rebuilt only when the
// look changes, so a steady stream allocates nothing.
class LookApplier {
public:
    void apply(const PictureLook& look, Frame& frame);

private:
    void rebuildTables(const PictureLook& look);

    PictureLook mTablesFor;
    bool mTablesBuilt = false;
    uint8_t mLuma[256];
    // Cb and Cr after the chroma turn and gain, indexed by (cb << 8 | cr) of the scene.
    uint8_t mCb[256 * 256];
    uint8_t mCr[256 * 256];
};

}  // namespace host::video
