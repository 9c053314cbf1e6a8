// What an overlay channel does to each picture passing through it: draws the items of
// the overlay pack attached to it.
#pragma once

#include <cstdint>

#include "video/frame.h"

namespace host::support {

// Draws pack `pack`'s items into the frame; a pack that is gone draws nothing.
void drawOverlay(uint32_t pack, video::Frame& frame);

}  // namespace host::support
