// Privacy mask packs: their lifetime, their attachment to an overlay channel and their
// rectangles, which that channel fills in every picture.
#include <algorithm>
#include <cerrno>
#include <climits>

#include "call_journal.h"
#include "camera_support.h"
#include "media/journaled.h"
#include "media/media_platform.h"
#include "support/packs.h"

using host::journaled;
using host::support::maskPacks;
using host::support::MaskPackState;
using host::support::validMaskIndex;
using host::support::validPackSide;

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

int init_mask_pack(struct mask_pack* pack, uint32_t width, uint32_t height) {
    return journaled(
        "init_mask_pack", [&] { return hostctl::args(pack, width, height); },
        [=] {
            if (!pack || !validPackSide(width) || !validPackSide(height)) return -EINVAL;
            // Support takes the media lock inside its own, never the other way round.
            return maskPacks().init(pack, {width, height, {}}, [=](uint32_t id) {
                return host::media::media().attachMask(width, height, id);
            });
        });
}

int deinit_mask_pack(struct mask_pack* pack) {
    return journaled(
        "deinit_mask_pack", [&] { return hostctl::args(pack); },
        [=] {
            return maskPacks().deinit(pack,
                                      [](uint32_t id) { host::media::media().detachMask(id); });
        });
}

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
