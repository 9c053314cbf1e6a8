// The support library's calls that attach overlay and mask packs to an overlay channel.
// The support library's lock is taken first and the media lock inside it, never the
// other way round.
#include <cerrno>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "media/media_platform.h"
#include "support/packs.h"

using host::journaled;
using host::media::media;
using host::support::maskPacks;
using host::support::osdPacks;
using host::support::OsdPackState;
using host::support::validPackSide;

extern "C" {

int set_default_osd_attr(struct osd_pack* pack, int osd_chn) {
    return journaled(
        "set_default_osd_attr", [&] { return hostctl::args(pack, osd_chn); },
        [=] {
            return osdPacks().with(pack, [=](uint32_t id, OsdPackState& state) {
                int rc = media().attachOverlay(osd_chn, id);
                if (rc == 0) host::support::copyColor(state, *pack);
                return rc;
            });
        });
}

int init_mask_pack(struct mask_pack* pack, uint32_t width, uint32_t height) {
    return journaled(
        "init_mask_pack", [&] { return hostctl::args(pack, width, height); },
        [=] {
            if (!pack || !validPackSide(width) || !validPackSide(height)) return -EINVAL;
            return maskPacks().init(pack, {width, height, {}}, [=](uint32_t id) {
                return media().attachMask(width, height, id);
            });
        });
}

int deinit_mask_pack(struct mask_pack* pack) {
    return journaled(
        "deinit_mask_pack", [&] { return hostctl::args(pack); },
        [=] { return maskPacks().deinit(pack, [](uint32_t id) { media().detachMask(id); }); });
}

}  // extern "C"
