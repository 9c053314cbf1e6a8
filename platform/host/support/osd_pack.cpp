// Overlay packs: their lifetime, their attachment to OSD channels and the placing of
// their items, which the text and image calls make.
#include <cerrno>
#include <cstring>
#include <utility>

#include "call_journal.h"
#include "camera_support.h"
#include "media/journaled.h"
#include "media/media_platform.h"
#include "support/packs.h"

using host::journaled;
using host::support::OsdPackState;
using host::support::OverlayItem;
using host::support::osdPacks;
using host::support::validPackSide;

namespace {

constexpr uint32_t kMaxFontSize = 256;

void copyColor(OsdPackState& state, const osd_pack& pack) {
    std::memcpy(state.color, pack.color, sizeof state.color);
}

}  // namespace

namespace host::support {

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
    return journaled("init_osd_pack", [&] { return hostctl::args(pack, font_size, flags, width, height); }, [=] {
        if (!pack || font_size < 1 || font_size > kMaxFontSize || !validPackSide(width) ||
            !validPackSide(height))
            return -EINVAL;
        OsdPackState state{font_size, flags, width, height, {}, {}};
        copyColor(state, *pack);
        return osdPacks().init(pack, state);
    });
}

int deinit_osd_pack(struct osd_pack* pack) {
    return journaled("deinit_osd_pack", [&] { return hostctl::args(pack); },
                     [=] { return osdPacks().deinit(pack); });
}

int set_default_osd_attr(struct osd_pack* pack, int osd_chn) {
    return journaled("set_default_osd_attr", [&] { return hostctl::args(pack, osd_chn); }, [=] {
        // Support takes the media lock inside its own, never the other way round.
        return osdPacks().with(pack, [=](uint32_t id, OsdPackState& state) {
            int rc = host::media::media().attachOverlay(osd_chn, id);
            if (rc == 0) copyColor(state, *pack);
            return rc;
        });
    });
}

}  // extern "C"
