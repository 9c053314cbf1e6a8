// Channels of the host's media platform with plain, valid attributes, for the tests that
// need one of a kind: each gives the new channel's id, or the refusal's code.
#pragma once

#include <cstdint>

#include "rts_av.h"

namespace channels {

inline rts_av_profile videoProfile(uint32_t width, uint32_t height, uint32_t fps = 25) {
    rts_av_profile p{};
    p.format = RTS_PIX_FMT_NV12;
    p.video = {width, height, 1, fps};
    return p;
}

// An image channel, with a profile of `width` x `height` unless that is 0 x 0.
inline int isp(uint32_t width = 0, uint32_t height = 0) {
    const rts_isp_attr attr{3, 0};
    const int chn = rts_av_create_isp_chn(&attr);
    const rts_av_profile profile = videoProfile(width, height);
    if (chn < 0 || width == 0) return chn;
    const int rc = rts_av_set_profile(chn, &profile);
    return rc == 0 ? chn : rc;
}

inline int h264() {
    const rts_h264_attr attr{4, -1, 2'000'000, 50, 0, 0};
    return rts_av_create_h264_chn(&attr);
}

inline int mjpeg() {
    const rts_mjpeg_attr attr{0};
    return rts_av_create_mjpeg_chn(&attr);
}

}  // namespace channels
