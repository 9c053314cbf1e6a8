#include "rts_video_pipe.h"

#include <unistd.h>

#include <initializer_list>

#include "rts_log.h"

namespace kq {
namespace {

// What a failed channel creation reports, whatever the platform returned.
constexpr int kCreateChannelFailed = -24;

constexpr rts_isp_attr kDefaultIspAttr = {3, 0};
constexpr uint32_t kDefaultWidth = 1920;
constexpr uint32_t kDefaultHeight = 1080;
constexpr uint32_t kDefaultFps = 25;
constexpr rts_h264_attr kDefaultH264Attr = {12, -1, 2097152, 30, 0, 0};

// A requester looks at the hand-off this many times, this far apart, before giving up.
constexpr int kSnapshotLooks = 12;
constexpr useconds_t kSnapshotLookIntervalUs = 100;
constexpr useconds_t kPollStepSleepUs = 1000;

// One channel of an enable or disable pass, with the message of its failure.
struct ChannelStep {
    int32_t VideoPipe::*chn;
    const char* failure;
};

// One link of the graph, with the message of its failure.
struct BindStep {
    int32_t VideoPipe::*src;
    int32_t VideoPipe::*dst;
    const char* failure;
};

}  // namespace

VideoPipe::VideoPipe() : mLastTime(time(nullptr)) { setDefaults(); }

void VideoPipe::setDefaults() {
    mIspAttr = kDefaultIspAttr;
    mIspProfile.format = RTS_PIX_FMT_NV12;
    mIspProfile.video.width = kDefaultWidth;
    mIspProfile.video.height = kDefaultHeight;
    mIspProfile.video.numerator = 1;
    mIspProfile.video.denominator = kDefaultFps;
    mH264Attr = kDefaultH264Attr;
    mMjpegAttr = {0};
}

void VideoPipe::setH264Config(uint32_t width, uint32_t height, uint32_t fps, uint32_t bitrate,
                              uint32_t gop) {
    mEncType = KQ_ENC_H264;
    mIspAttr.mode = 0;
    mIspProfile.video.width = width;
    mIspProfile.video.height = height;
    mIspProfile.video.denominator = fps;
    mH264Attr.bitrate = bitrate;
    mH264Attr.gop = gop;
}

void VideoPipe::setMjpegConfig(uint32_t width, uint32_t height, uint32_t fps) {
    mEncType = KQ_ENC_MJPEG;
    mIspAttr.mode = 1;
    mIspProfile.video.width = width;
    mIspProfile.video.height = height;
    mIspProfile.video.numerator = 1;
    mIspProfile.video.denominator = fps;
}

void VideoPipe::setFrameCallback(kq_frame_callback callback, void* userData) {
    mFrameCallback = callback;
    mFrameUserData = userData;
}

void VideoPipe::setSnapshotCallback(kq_snapshot_callback callback) { mSnapshotCallback = callback; }

int VideoPipe::create() {
    int r = createChannels();
    if (r != 0) KQ_ERROR("create video channel fail\n");
    return r;
}

int VideoPipe::enable() {
    int r = enableChannels();
    if (r != 0) KQ_ERROR("enable video channel fail\n");
    return r;
}

int VideoPipe::disable() {
    int r = disableChannels();
    if (r != 0) KQ_ERROR("disable video channel fail\n");
    return r;
}

int VideoPipe::destroy() { return destroyChannels(); }

int VideoPipe::startRecv() {
    int r = rts_av_start_recv(mRecvChn);
    if (r != 0) KQ_PLATFORM_ERROR("start recv fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::stopRecv() {
    int r = rts_av_stop_recv(mRecvChn);
    if (r != 0) KQ_PLATFORM_ERROR("stop recv fail, ret = %d, %s\n", r);
    return r;
}

// Creates and binds image -> overlay -> both encoders. Each id is stored before it is
// tested, so a failure tears down exactly what exists.
int VideoPipe::createChannels() {
    mIspChn = rts_av_create_isp_chn(&mIspAttr);
    if (mIspChn < 0) {
        KQ_PLATFORM_ERROR("create isp chn fail, ret = %d, %s\n", mIspChn);
        destroyChannels();
        return kCreateChannelFailed;
    }
    mOsdChn = rts_av_create_osd_chn();
    if (mOsdChn < 0) {
        KQ_PLATFORM_ERROR("create osd chn fail, ret = %d, %s\n", mOsdChn);
        destroyChannels();
        return kCreateChannelFailed;
    }
    int r = rts_av_set_profile(mIspChn, &mIspProfile);
    if (r != 0) {
        KQ_PLATFORM_ERROR("set isp profile fail, ret = %d, %s\n", r);
        destroyChannels();
        return r;
    }
    // Both encoders exist whatever the codec: the JPEG one also takes the snapshots.
    mEncChn = rts_av_create_h264_chn(&mH264Attr);
    if (mEncChn < 0) {
        KQ_PLATFORM_ERROR("create enc chn fail, ret = %d, %s\n", mEncChn);
        destroyChannels();
        return kCreateChannelFailed;
    }
    mJpgChn = rts_av_create_mjpeg_chn(&mMjpegAttr);
    if (mJpgChn < 0) {
        KQ_PLATFORM_ERROR("create jpg chn fail, ret = %d, %s\n", mJpgChn);
        destroyChannels();
        return kCreateChannelFailed;
    }
    static constexpr BindStep kBinds[] = {
        {&VideoPipe::mIspChn, &VideoPipe::mOsdChn, "bind isp and osd chn fail, ret = %d, %s\n"},
        {&VideoPipe::mOsdChn, &VideoPipe::mEncChn, "bind osd and enc chn fail, ret = %d, %s\n"},
        {&VideoPipe::mOsdChn, &VideoPipe::mJpgChn, "bind osd and jpg chn fail, ret = %d, %s\n"},
    };
    for (const BindStep& bind : kBinds) {
        if ((r = rts_av_bind(this->*bind.src, this->*bind.dst)) != 0) {
            KQ_PLATFORM_ERROR(bind.failure, r);
            destroyChannels();
            return r;
        }
    }
    mRecvChn = mEncType == KQ_ENC_MJPEG ? mJpgChn : mEncChn;
    // The stream runs without overlays when the packs cannot be set up.
    initOsdPack();
    initMaskPack();
    return 0;
}

int VideoPipe::enableChannels() {
    static constexpr ChannelStep kSteps[] = {
        {&VideoPipe::mIspChn, "enable isp chn fail, ret = %d, %s\n"},
        {&VideoPipe::mOsdChn, "enable osd chn fail, ret = %d, %s\n"},
        {&VideoPipe::mEncChn, "enable enc chn fail, ret = %d, %s\n"},
        {&VideoPipe::mJpgChn, "enable jpg chn fail, ret = %d, %s\n"},
    };
    for (const ChannelStep& step : kSteps) {
        int r = rts_av_enable_chn(this->*step.chn);
        if (r != 0) {
            KQ_PLATFORM_ERROR(step.failure, r);
            return tearDown(r);
        }
    }
    setDefaultOsdAttr();
    int r = setChannelControls();
    if (r != 0) {
        KQ_PLATFORM_ERROR("set chennels control fail, ret = %d, %s\n", r);
        return tearDown(r);
    }
    // A rebuilt graph starts from the platform's defaults: put the saved image back.
    rts_apply_isp_saved_setting();
    rts_apply_saved_ae_auto();
    return 0;
}

// Undoes a failed enable: the whole graph goes, and `code` is passed on.
int VideoPipe::tearDown(int code) {
    disableChannels();
    destroyChannels();
    return code;
}

int VideoPipe::setChannelControls() {
    int r = rts_av_query_h264_ctrl(mEncChn, &mH264Ctrl);
    if (r != 0) return r;
    if ((r = set_h264_video_profile(mH264Ctrl, static_cast<int>(mH264Profile))) != 0) return r;
    if ((r = rts_av_query_mjpeg_ctrl(mJpgChn, &mMjpegCtrl)) != 0) return r;
    return set_mjpeg_quality(mMjpegCtrl, static_cast<int>(mMjpegQuality));
}

// Disables every channel, also those that do not exist; the result is the image
// channel's, the last one disabled.
int VideoPipe::disableChannels() {
    static constexpr ChannelStep kSteps[] = {
        {&VideoPipe::mJpgChn, "disable jpg chn fail, ret = %d, %s\n"},
        {&VideoPipe::mEncChn, "disable enc chn fail, ret = %d, %s\n"},
        {&VideoPipe::mOsdChn, "disable osd chn fail, ret = %d, %s\n"},
        {&VideoPipe::mIspChn, "disable isp chn fail, ret = %d, %s\n"},
    };
    int r = 0;
    for (const ChannelStep& step : kSteps) {
        r = rts_av_disable_chn(this->*step.chn);
        if (r != 0) KQ_PLATFORM_ERROR(step.failure, r);
    }
    return r;
}

// Safe on a partly built graph and on no graph at all. Channels are destroyed while
// still bound: the platform drops the bindings with them.
int VideoPipe::destroyChannels() {
    mRecvChn = -1;
    deinitMaskPack();
    deinitOsdPack();
    if (mH264Ctrl) rts_av_release_h264_ctrl(mH264Ctrl);
    mH264Ctrl = nullptr;
    if (mMjpegCtrl) rts_av_release_mjpeg_ctrl(mMjpegCtrl);
    mMjpegCtrl = nullptr;
    for (int32_t* chn : {&mIspChn, &mOsdChn, &mEncChn, &mJpgChn}) {
        if (*chn >= 0) rts_av_destroy_chn(*chn);
        *chn = -1;
    }
    return 0;
}

int VideoPipe::pollFrame() {
    if (mRecvChn < 0) return 0;
    if (rts_av_get_chn_status(mRecvChn) == 0) return 0;
    usleep(kPollStepSleepUs);
    updateTimestamp();
    if (mSnapshotState.load() == SNAPSHOT_REQUESTED) armSnapshot();
    if (rts_av_poll(mRecvChn) != 0) return 0;
    rts_av_buffer* buffer = nullptr;
    if (rts_av_recv(mRecvChn, &buffer) != 0 || !buffer) return 0;
    // The platform's own memory, valid during the call only.
    if (mFrameCallback)
        mFrameCallback(static_cast<const uint8_t*>(buffer->data), buffer->bytesUsed,
                       static_cast<uint32_t>(buffer->timestamp / 1000),
                       buffer->flags & RTS_AV_FLAG_KEYFRAME, 0, 0, mFrameUserData);
    rts_av_put_buffer(buffer);
    return 1;
}

int VideoPipe::requestSnapshot(int channel, int quality) {
    if (!mSnapshotCallback) {
        KQ_ERROR("request snapshot fail, not registered");
        return kSnapshotNotRegistered;
    }
    int r = 0;
    if (quality != static_cast<int>(mMjpegQuality)) {
        r = set_mjpeg_quality(mMjpegCtrl, quality);
        if (r != 0)
            KQ_WARNING("set snapshot quality fail, using default %d",
                       static_cast<int>(mMjpegQuality));
        else
            mMjpegQuality = static_cast<uint32_t>(quality);
    }
    for (int look = 1; mSnapshotState.load() != SNAPSHOT_IDLE; ++look) {
        if (look == kSnapshotLooks) return kSnapshotBusy;
        usleep(kSnapshotLookIntervalUs);
    }
    mSnapshotChannel = channel;
    mSnapshotRecord = {&VideoPipe::onSnapshot, this, 0, 1, 0, 0};
    // Last: the poller arms only a request whose channel and record are written.
    mSnapshotState.store(SNAPSHOT_REQUESTED);
    return r;
}

void VideoPipe::armSnapshot() {
    mSnapshotState.store(SNAPSHOT_ARMED);
    int r = rts_av_set_callback(mJpgChn, &mSnapshotRecord, 0);
    if (r != 0) {
        mSnapshotState.store(SNAPSHOT_IDLE);
        KQ_PLATFORM_WARNING("set av callback fail, ret = %d, %s\n", r);
    }
}

int VideoPipe::onSnapshot(void* context, void*, rts_av_buffer* buffer) {
    auto* pipe = static_cast<VideoPipe*>(context);
    // A callback withdrawn since the request was placed drops the picture.
    kq_snapshot_callback callback = pipe->mSnapshotCallback;
    int r = callback ? callback(pipe->mSnapshotChannel, static_cast<const uint8_t*>(buffer->data),
                                buffer->bytesUsed)
                     : 0;
    pipe->mSnapshotState.store(SNAPSHOT_IDLE);
    return r;
}

}  // namespace kq
