#include "rts_video_context.h"

#include <sys/time.h>

#include "rts_log.h"

namespace kq {

int VideoContext::init() {
    int r = rts_av_init();
    if (r != 0) {
        KQ_ERROR("rts av init fail %d, %s\n", r, errno2str(r));
        release();
        return r;
    }
    return 0;
}

void VideoContext::release() {
    int r = rts_av_release();
    if (r != 0) KQ_ERROR("rts av release fail %d, %s\n", r, errno2str(r));
}

void VideoContext::configure(int channel, uint32_t encType, uint32_t width, uint32_t height,
                             uint32_t fps, uint32_t bitrate, uint32_t gop) {
    VideoPipe& pipe = mVidPipes[channel];
    switch (encType) {
        case KQ_ENC_H264: pipe.setH264Config(width, height, fps, bitrate, gop); break;
        case KQ_ENC_MJPEG: pipe.setMjpegConfig(width, height, fps); break;
        default: KQ_WARNING("Unkown enc_type: %d", static_cast<int>(encType)); break;
    }
}

void VideoContext::setFrameCallback(int channel, kq_frame_callback callback, void* userData) {
    mVidPipes[channel].setFrameCallback(callback, userData);
}

void VideoContext::setSnapshotCallback(int channel, kq_snapshot_callback callback) {
    mVidPipes[channel].setSnapshotCallback(callback);
}

int VideoContext::openPipe(int channel) {
    VideoPipe& pipe = mVidPipes[channel];
    int r = pipe.create();
    if (r != 0) {
        KQ_ERROR("build mVidPipes[%d] fail!", channel);
        return r;
    }
    r = pipe.enable();
    if (r != 0) {
        KQ_ERROR("enable mVidPipes[%d] fail!", channel);
        return r;
    }
    return 0;
}

int VideoContext::closePipe(int channel) {
    VideoPipe& pipe = mVidPipes[channel];
    if (pipe.disable() != 0) KQ_ERROR("disable mVidPipes[%d] fail!", channel);
    pipe.destroy();
    return 0;
}

int VideoContext::startPipe(int channel) {
    int r = mVidPipes[channel].startRecv();
    if (r != 0) KQ_ERROR("start mVidPipes[%d] fail!", channel);
    return r;
}

int VideoContext::stopPipe(int channel) {
    int r = mVidPipes[channel].stopRecv();
    if (r != 0) KQ_ERROR("stop mVidPipes[%d] fail!", channel);
    return r;
}

int VideoContext::pollFrames(int timeoutMs) {
    timeval start{};
    gettimeofday(&start, nullptr);
    for (;;) {
        // Pipe 0, then pipe 1: two statements, since the operands of one sum may be
        // evaluated in either order.
        int n = mVidPipes[0].pollFrame();
        n += mVidPipes[1].pollFrame();
        timeval now{};
        gettimeofday(&now, nullptr);
        // Held as a signed 32-bit count of microseconds, which wraps after about 35 minutes.
        int64_t elapsed =
            (int64_t{now.tv_sec} - start.tv_sec) * 1000000 + (now.tv_usec - start.tv_usec);
        int32_t elapsedMs = static_cast<int32_t>(static_cast<uint32_t>(elapsed)) / 1000;
        if (elapsedMs >= timeoutMs || n != 0) return n;
    }
}

}  // namespace kq
