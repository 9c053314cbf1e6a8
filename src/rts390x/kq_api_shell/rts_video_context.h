// The library's video state: the two video pipes, one per encoder channel, and the
// start and release of the media platform.
#pragma once

#include <cstdint>

#include "kq_api.h"
#include "rts_video_pipe.h"

namespace kq {

constexpr int kChannelCount = 2;

class VideoContext {
public:
    VideoContext() = default;
    // Destroys pipe 1, then pipe 0; touches no platform channel.
    ~VideoContext() = default;
    VideoContext(const VideoContext&) = delete;
    VideoContext& operator=(const VideoContext&) = delete;

    int init();
    void release();

    // The per-channel operations take a channel number the caller has checked.
    void configure(int channel, uint32_t encType, uint32_t width, uint32_t height, uint32_t fps,
                   uint32_t bitrate, uint32_t gop);
    void setFrameCallback(int channel, kq_frame_callback callback, void* userData);
    void setSnapshotCallback(int channel, kq_snapshot_callback callback);
    bool isPipeOpen(int channel) const { return mVidPipes[channel].isOpen(); }
    int openPipe(int channel);
    int closePipe(int channel);
    int startPipe(int channel);
    int stopPipe(int channel);

private:
    VideoPipe mVidPipes[kChannelCount];
};

// The one context, from kq_init_kq() to kq_uninit().
extern VideoContext* gVideoContext;

}  // namespace kq
