#include "video/h264_encoder.h"

#include <cerrno>
#include <cstdint>
#include <tuple>

#include <x264.h>

namespace host::video {
namespace {

const char* const kProfileNames[] = {"baseline", "main", "high"};
constexpr int kProfileCount = sizeof(kProfileNames) / sizeof(kProfileNames[0]);
constexpr int kRateControlByBitrate = -1;
// A quantiser of 0 is lossless coding, which none of the three profiles allows.
constexpr int kMinQp = 1;
constexpr int kMaxQp = 51;
// x264 counts the bitrate in kbit/s.
constexpr uint32_t kMinBitrate = 1000;

bool validSettings(const H264Settings& s) {
    bool rateControl =
        s.qp == kRateControlByBitrate ? s.bitrate >= kMinBitrate : s.qp >= kMinQp && s.qp <= kMaxQp;
    return validFrameSize(s.width, s.height) && s.fpsNum > 0 && s.fpsDen > 0 && s.gop >= 1 &&
           s.profile >= 0 && s.profile < kProfileCount && rateControl;
}

// x264's parameters for the settings; false when x264 refuses them.
bool makeParams(const H264Settings& s, x264_param_t* p) {
    // No B-frames, no lookahead, no frame threads: every picture comes out as it goes in.
    if (x264_param_default_preset(p, "superfast", "zerolatency") < 0) return false;
    p->i_log_level = X264_LOG_NONE;
    p->i_threads = 1;
    p->i_width = static_cast<int>(s.width);
    p->i_height = static_cast<int>(s.height);
    p->i_csp = X264_CSP_I420;
    p->i_fps_num = s.fpsNum;
    p->i_fps_den = s.fpsDen;
    p->b_vfr_input = 0;  // constant rate: pts count pictures
    // Key frames exactly every gop pictures, never moved by a scene cut.
    p->i_keyint_max = static_cast<int>(s.gop);
    p->i_keyint_min = static_cast<int>(s.gop);
    p->i_scenecut_threshold = 0;
    p->b_annexb = 1;
    p->b_repeat_headers = 1;
    // The frames are drawn in full-range BT.601, as JPEG has it.
    p->vui.b_fullrange = 1;
    if (s.qp == kRateControlByBitrate) {
        int kbps = static_cast<int>((s.bitrate + 500) / 1000);
        p->rc.i_rc_method = X264_RC_ABR;
        p->rc.i_bitrate = kbps;
        // A one-second buffer keeps the rate steady without starving single pictures.
        p->rc.i_vbv_max_bitrate = kbps;
        p->rc.i_vbv_buffer_size = kbps;
    } else {
        p->rc.i_rc_method = X264_RC_CQP;
        p->rc.i_qp_constant = s.qp;
    }
    // Restricts the preset's tools (CABAC, 8x8 transform) so the stream is of the profile.
    return x264_param_apply_profile(p, kProfileNames[s.profile]) == 0;
}

}  // namespace

bool H264Settings::operator==(const H264Settings& o) const {
    return std::tie(width, height, fpsNum, fpsDen, bitrate, gop, profile, qp) ==
           std::tie(o.width, o.height, o.fpsNum, o.fpsDen, o.bitrate, o.gop, o.profile, o.qp);
}

std::unique_ptr<H264Encoder> H264Encoder::create(const H264Settings& settings) {
    x264_param_t params;
    if (!validSettings(settings) || !makeParams(settings, &params)) return nullptr;
    x264_t* encoder = x264_encoder_open(&params);
    if (encoder == nullptr) return nullptr;
    return std::unique_ptr<H264Encoder>(new H264Encoder(encoder, settings));
}

H264Encoder::~H264Encoder() { x264_encoder_close(mEncoder); }

int H264Encoder::encode(const Frame& frame, std::vector<uint8_t>& out, bool* keyFrame) {
    if (!frame.valid() || frame.width != mSettings.width || frame.height != mSettings.height)
        return -EINVAL;

    // x264 reads the planes in place and copies them into its own pictures.
    x264_picture_t in;
    x264_picture_init(&in);
    in.img.i_csp = X264_CSP_I420;
    in.img.i_plane = 3;
    in.img.plane[0] = const_cast<uint8_t*>(frame.y());
    in.img.plane[1] = const_cast<uint8_t*>(frame.u());
    in.img.plane[2] = const_cast<uint8_t*>(frame.v());
    in.img.i_stride[0] = static_cast<int>(frame.width);
    in.img.i_stride[1] = static_cast<int>(frame.chromaWidth());
    in.img.i_stride[2] = static_cast<int>(frame.chromaWidth());
    in.i_pts = mPts++;

    x264_nal_t* nals = nullptr;
    int nalCount = 0;
    x264_picture_t encoded;
    int bytes = x264_encoder_encode(mEncoder, &nals, &nalCount, &in, &encoded);
    // Without delay every picture yields its access unit now; nothing is an error too.
    if (bytes <= 0 || nalCount <= 0) return -EIO;

    // x264 lays an access unit's NAL units out back to back.
    out.assign(nals[0].p_payload, nals[0].p_payload + bytes);
    if (keyFrame != nullptr) *keyFrame = encoded.i_type == X264_TYPE_IDR;
    return 0;
}

}  // namespace host::video
