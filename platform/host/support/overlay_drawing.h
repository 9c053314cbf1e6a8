// What an overlay channel does to each picture passing through it. It composites in a
// fixed order: first the rectangles of its mask pack, then the items of its overlay
// pack in block order (0 the timestamp, 1 the logo, 2 the privacy icon as the camera
// library uses them), so that texts and icons show on a masked picture.
#pragma once

#include <cstdint>

#include "video/frame.h"

namespace host::support {

// The colour of every mask rectangle: opaque mid grey, RGB (128, 128, 128), which is
// Y = Cb = Cr = 128 in the frame's colour space.
constexpr uint8_t kMaskGrey = 128;

// Draws mask pack `maskPack`'s rectangles, then overlay pack `osdPack`'s items into the
// frame; a pack that is gone (or kNoPack) draws nothing. Allocates nothing.
void drawOverlay(uint32_t osdPack, uint32_t maskPack, video::Frame& frame);

}  // namespace host::support
