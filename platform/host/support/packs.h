// The overlay and mask packs the support library keeps, for its calls and for the OSD
// channels that draw them.
#pragma once

#include <cstdint>
#include <map>

#include "camera_support.h"
#include "support/pack_registry.h"
#include "video/drawing.h"

namespace host::support {

// One drawn item of an overlay pack: rendered text (later also images) with its place.
struct OverlayItem {
    video::AlphaMask mask;
    int x, y;
    video::Yuv ink;
    bool boxed;  // a background box of the mask's size behind the ink
    video::Yuv box;
};

struct OsdPackState {
    uint32_t fontSize;  // pixels
    uint32_t flags;
    uint32_t width;     // of the frames drawn into
    uint32_t height;
    // Text and background colour (R, G, B each) as the record held them at init and
    // when the pack was last attached to a channel; the record's bytes stay the caller's.
    uint8_t color[6];
    std::map<int, OverlayItem> items;  // by block: a new item replaces the block's old one
};

struct MaskPackState {
    uint32_t width;  // of the frames masked
    uint32_t height;
};

using OsdPacks = PackRegistry<osd_pack, OsdPackState>;
using MaskPacks = PackRegistry<mask_pack, MaskPackState>;

OsdPacks& osdPacks();
MaskPacks& maskPacks();

// Whether a pack may cover frames this many pixels wide or high, as image channels can.
inline bool validPackSide(uint32_t pixels) { return pixels >= 1 && pixels <= 4096; }

}  // namespace host::support
