// The pipe's overlay (OSD) pack and privacy mask pack.
#include "rts_log.h"
#include "rts_video_pipe.h"

namespace kq {
namespace {

// Font size in pixels for a frame width: the timestamp stays readable on every size.
uint32_t fontSizeForWidth(uint32_t width) {
    if (width <= 960) return 24;
    if (width <= 1280) return 48;
    return 64;
}

}  // namespace

int VideoPipe::initOsdPack() {
    mFontSize = fontSizeForWidth(frameWidth());
    int r = init_osd_pack(&mOsdPack, mFontSize, 0, frameWidth(), frameHeight());
    if (r != 0) KQ_PLATFORM_ERROR("init osd pack fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::deinitOsdPack() {
    if (osdReady()) deinit_osd_pack(&mOsdPack);
    return 0;
}

int VideoPipe::setDefaultOsdAttr() {
    if (!osdReady()) return 0;
    int r = set_default_osd_attr(&mOsdPack, mOsdChn);
    if (r != 0) KQ_PLATFORM_WARNING("set default osd attr fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::initMaskPack() {
    int r = init_mask_pack(&mMaskPack, frameWidth(), frameHeight());
    if (r != 0) KQ_PLATFORM_ERROR("init mask pack fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::deinitMaskPack() {
    if (maskReady()) deinit_mask_pack(&mMaskPack);
    return 0;
}

}  // namespace kq
