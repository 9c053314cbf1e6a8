// The overlay and mask packs the support library keeps, for its calls and for the OSD
// channels that draw them.
#pragma once

#include <array>
#include <cstdint>
#include <variant>

#include "camera_support.h"
#include "support/pack_registry.h"
#include "video/drawing.h"
#include "video/sprite.h"

namespace host::support {

// Overlay packs hold one item per block, drawn in block order; mask packs hold one
// rectangle per mask index.
constexpr int kBlockCount = 8;
constexpr int kMaskCount = 8;

inline bool validBlock(int block) { return block >= 0 && block < kBlockCount; }
inline bool validMaskIndex(int index) { return index >= 0 && index < kMaskCount; }

// Rendered text with its place.
struct TextItem {
    video::AlphaMask mask;
    int x, y;
    video::Yuv ink;
    bool boxed;  // a background box of the mask's size behind the ink
    video::Yuv box;
};

// What a block of an overlay pack shows: nothing, a text or an image.
using OverlayItem = std::variant<std::monostate, TextItem, video::Sprite>;

struct OsdPackState {
    uint32_t fontSize;  // pixels
    uint32_t flags;
    uint32_t width;  // of the frames drawn into
    uint32_t height;
    // Text and background colour (R, G, B each) as the record held them at init and
    // when the pack was last attached to a channel; the record's bytes stay the caller's.
    uint8_t color[6];
    std::array<OverlayItem, kBlockCount> items;  // by block
};

struct MaskRect {
    bool on;
    int x, y;
    int width, height;  // clipped to the frame when drawn
};

struct MaskPackState {
    uint32_t width;  // of the frames masked
    uint32_t height;
    std::array<MaskRect, kMaskCount> rects;  // by mask index
};

using OsdPacks = PackRegistry<osd_pack, OsdPackState>;
using MaskPacks = PackRegistry<mask_pack, MaskPackState>;

OsdPacks& osdPacks();
MaskPacks& maskPacks();

// Takes the text and background colour from the caller's record.
void copyColor(OsdPackState& state, const osd_pack& pack);

// Puts `item` into block `block` of the pack, replacing the block's old item (an empty
// item empties the block). -EINVAL for a pack that is not initialised or a bad block.
int placeItem(osd_pack* pack, int block, OverlayItem item);

// Whether a pack may cover frames this many pixels wide or high, as image channels can.
inline bool validPackSide(uint32_t pixels) { return pixels >= 1 && pixels <= 4096; }

}  // namespace host::support
