#include "scripted_pipe.h"

#include <cstddef>
#include <cstdio>

#include "host_control.h"
#include "rts_av.h"

namespace bench {
namespace {

// Small pictures: the poll path does not depend on the size, and the image channel
// behind the scripted encoders keeps running.
constexpr kq_encoder_param kPipeParam = {KQ_ENC_H264, 320, 240, 25, 256000, 25};
// A typical inter frame of that stream.
constexpr std::size_t kPayloadBytes = 2048;
constexpr uint64_t kFrameIntervalUs = 40000;
constexpr int kPollTimeoutMs = 1000;

// The id the last call of `function` returned, or -1 when there was none.
int createdChannel(const char* function) {
    auto calls = hostctl::calls(function);
    return calls.empty() ? -1 : calls.back().result;
}

}  // namespace

ScriptedPipe::ScriptedPipe(kq_frame_callback callback, void* userData)
    : mPayload(kPayloadBytes, 0x5a) {
    mStarted = start(callback, userData);
}

ScriptedPipe::~ScriptedPipe() {
    kq_close_encoder(0);
    kq_uninit();
    hostctl::reset();
}

bool ScriptedPipe::start(kq_frame_callback callback, void* userData) {
    hostctl::reset();
    hostctl::setJournalEnabled(true);
    if (kq_init_kq() != KQ_OK) {
        std::fprintf(stderr, "kq_init_kq() failed\n");
        return false;
    }
    if (kq_open_encoder(0, &kPipeParam, callback, userData) != KQ_OK) {
        std::fprintf(stderr, "kq_open_encoder(0) failed\n");
        return false;
    }
    mEncoderChn = createdChannel("rts_av_create_h264_chn");
    int jpegChn = createdChannel("rts_av_create_mjpeg_chn");
    if (hostctl::scriptChannel(mEncoderChn, true) != 0 ||
        hostctl::scriptChannel(jpegChn, true) != 0) {
        std::fprintf(stderr, "scripting channels %d and %d failed\n", mEncoderChn, jpegChn);
        return false;
    }
    if (kq_start_encoder(0) != KQ_OK) {
        std::fprintf(stderr, "kq_start_encoder(0) failed\n");
        return false;
    }
    return true;
}

bool ScriptedPipe::push(int count) {
    for (int i = 0; i < count; ++i) {
        uint32_t flags = mTimestampUs == 0 ? RTS_AV_FLAG_KEYFRAME : 0;
        if (hostctl::pushBuffer(mEncoderChn, mPayload, mTimestampUs, flags) != 0) return false;
        mTimestampUs += kFrameIntervalUs;
    }
    return true;
}

bool ScriptedPipe::poll(int count) {
    for (int delivered = 0; delivered < count;) {
        int n = kq_poll_frame(kPollTimeoutMs);
        if (n == 0) return false;
        delivered += n;
    }
    return true;
}

}  // namespace bench
