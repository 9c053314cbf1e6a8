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

    // Polls pipe 0 then pipe 1 until a pass received a buffer or `timeoutMs` passed;
    // the number of buffers of the last pass.
    int pollFrames(int timeoutMs);
    int triggerSnapshot(int channel, int quality) {
        return mVidPipes[channel].requestSnapshot(channel, quality);
    }

    // Timestamp overlay of a pipe.
    void enableOsd(int channel, uint8_t on) { mVidPipes[channel].enableOsd(on); }
    void setOsdFormat(int channel, const char* format) { mVidPipes[channel].setOsdFormat(format); }
    void setOsdPosition(int channel, uint32_t option) { mVidPipes[channel].setOsdPosition(option); }
    void setOsdColor(int channel, uint8_t c1, uint8_t c2, uint8_t c3, uint8_t c4, uint8_t c5,
                     uint8_t c6) {
        mVidPipes[channel].setOsdColor(c1, c2, c3, c4, c5, c6);
    }

    // Watermark logo and privacy mode of a pipe.
    int enableWatermark(int channel, uint8_t on) { return mVidPipes[channel].enableWatermark(on); }
    void setWatermarkPosition(int channel, uint32_t option) {
        mVidPipes[channel].setWatermarkPosition(option);
    }
    void setWatermarkImage(int channel, const void* pixels, uint32_t width, uint32_t height,
                           uint32_t attrWord, uint8_t attrByte) {
        mVidPipes[channel].setWatermarkImage(pixels, width, height, attrWord, attrByte);
    }
    // The logo is always drawn with its own alpha: the opacity is accepted and ignored.
    void setWatermarkOpaque(int, int) {}
    int enablePrivacyMode(int channel, uint8_t on) {
        return mVidPipes[channel].enablePrivacyMode(on);
    }
    int setPrivacyIcon(int channel, const void* pixels, uint32_t width, uint32_t height,
                       uint32_t attrWord, uint8_t attrByte) {
        return mVidPipes[channel].setPrivacyIcon(pixels, width, height, attrWord, attrByte);
    }

private:
    VideoPipe mVidPipes[kChannelCount];
};

// The one context, from kq_init_kq() to kq_uninit().
extern VideoContext* gVideoContext;

}  // namespace kq
