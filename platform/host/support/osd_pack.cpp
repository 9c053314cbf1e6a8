// Overlay packs: their lifetime and the placing of their items, which the text and
// image calls make. Attaching a pack to an overlay channel is the media channels' call
// (media/overlay_attach.cpp).
#include <cerrno>
#include <cstring>
#include <utility>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/packs.h"

using host::journaled;
using host::support::copyColor;
using host::support::osdPacks;
using host::support::OsdPackState;
using host::support::OverlayItem;
using host::support::validPackSide;

namespace {

constexpr uint32_t kMaxFontSize = 256;

}  // namespace

namespace host::support {

void copyColor(OsdPackState& state, const osd_pack& pack) {
    std::memcpy(state.color, pack.color, sizeof state.color);
}

int placeItem(osd_pack* pack, int block, OverlayItem item) {
    if (!validBlock(block)) return -EINVAL;
    // The old item is swapped out under the lock and freed after it, so a frame being
    // drawn never waits for the freeing.
    return osdPacks().with(pack, [&](uint32_t, OsdPackState& state) {
        std::swap(state.items[block], item);
        return 0;
    });
}

}  // namespace host::support

extern "C" {

int init_osd_pack(struct osd_pack* pack, uint32_t font_size, uint32_t flags, uint32_t width,
                  uint32_t height) {
    return journaled(
        "init_osd_pack", [&] { return hostctl::args(pack, font_size, flags, width, height); },
        [=] {
            if (!pack || font_size < 1 || font_size > kMaxFontSize || !validPackSide(width) ||
                !validPackSide(height))
                return -EINVAL;
            OsdPackState state{font_size, flags, width, height, {}, {}};
            copyColor(state, *pack);
            return osdPacks().init(pack, state);
        });
}

int deinit_osd_pack(struct osd_pack* pack) {
    return journaled(
        "deinit_osd_pack", [&] { return hostctl::args(pack); },
        [=] { return osdPacks().deinit(pack); });
}

}  // extern "C"
