// Privacy mask packs: their rectangles, which the overlay channel a pack is attached to
// fills in every picture. Creating and destroying a pack attaches and detaches it, which
// the media channels do (media/overlay_attach.cpp).
#include <algorithm>
#include <cerrno>
#include <climits>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/packs.h"

using host::journaled;
using host::support::maskPacks;
using host::support::MaskPackState;
using host::support::validMaskIndex;

namespace {

// The drawing clips in wide arithmetic; a side beyond INT_MAX covers any frame anyway.
int side(uint32_t pixels) { return static_cast<int>(std::min<uint32_t>(pixels, INT_MAX)); }

int setMask(mask_pack* pack, int index, const host::support::MaskRect& rect) {
    if (!validMaskIndex(index)) return -EINVAL;
    return maskPacks().with(pack, [&](uint32_t, MaskPackState& state) {
        state.rects[index] = rect;
        return 0;
    });
}

}  // namespace

extern "C" {

int enable_rect_mask(struct mask_pack* pack, int index, uint32_t width, uint32_t height, int x,
                     int y) {
    return journaled(
        "enable_rect_mask", [&] { return hostctl::args(pack, index, width, height, x, y); },
        [=] {
            if (width == 0 || height == 0) return -EINVAL;
            return setMask(pack, index, {true, x, y, side(width), side(height)});
        });
}

int disable_mask(struct mask_pack* pack, int index) {
    return journaled(
        "disable_mask", [&] { return hostctl::args(pack, index); },
        [=] { return setMask(pack, index, {}); });
}

}  // extern "C"
