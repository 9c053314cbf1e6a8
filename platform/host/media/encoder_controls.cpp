// Encoder settings through the control handles the media platform hands out; the
// values land in the encoder channel's state.
#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "media/media_platform.h"

using host::journaled;
using host::media::handleId;
using host::media::media;

extern "C" {

int set_h264_video_profile(struct rts_h264_ctrl* ctrl, int profile) {
    return journaled(
        "set_h264_video_profile", [&] { return hostctl::args(ctrl, profile); },
        [=] { return media().setH264Profile(handleId(ctrl), profile); });
}

int set_mjpeg_quality(struct rts_mjpeg_ctrl* ctrl, int quality) {
    return journaled(
        "set_mjpeg_quality", [&] { return hostctl::args(ctrl, quality); },
        [=] { return media().setJpegQuality(handleId(ctrl), quality); });
}

}  // extern "C"
