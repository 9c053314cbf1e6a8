// Privacy mask packs: their lifetime. The rectangles are set by the mask calls.
#include <cerrno>

#include "call_journal.h"
#include "camera_support.h"
#include "media/journaled.h"
#include "support/packs.h"

using host::journaled;
using host::support::maskPacks;
using host::support::validPackSide;

extern "C" {

int init_mask_pack(struct mask_pack* pack, uint32_t width, uint32_t height) {
    return journaled("init_mask_pack", [&] { return hostctl::args(pack, width, height); }, [=] {
        if (!pack || !validPackSide(width) || !validPackSide(height)) return -EINVAL;
        return maskPacks().init(pack, {width, height});
    });
}

int deinit_mask_pack(struct mask_pack* pack) {
    return journaled("deinit_mask_pack", [&] { return hostctl::args(pack); },
                     [=] { return maskPacks().deinit(pack); });
}

}  // extern "C"
