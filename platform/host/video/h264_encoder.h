// H.264 with x264, tuned for a live camera stream: one complete access unit out for
// every picture in, at once.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/frame.h"

struct x264_t;

namespace host::video {

struct H264Settings {
    uint32_t width, height;
    uint32_t fpsNum, fpsDen;  // frames per second = fpsNum / fpsDen
    uint32_t bitrate;         // bits per second
    uint32_t gop;             // key-frame interval in frames, >= 1
    int profile;              // 0 baseline, 1 main, 2 high
    int qp;                   // -1: rate control by bitrate; 1..51 constant quantiser

    bool operator==(const H264Settings& other) const;
    bool operator!=(const H264Settings& other) const { return !(*this == other); }
};

class H264Encoder {
public:
    // Null for settings out of range (a quantiser of 0 too: lossless coding, which none of
    // the three profiles allows) or that x264 refuses.
    static std::unique_ptr<H264Encoder> create(const H264Settings& settings);
    ~H264Encoder();
    H264Encoder(const H264Encoder&) = delete;
    H264Encoder& operator=(const H264Encoder&) = delete;

    const H264Settings& settings() const { return mSettings; }

    // Encodes one picture into one complete Annex-B access unit in `out` (its capacity
    // reused), SPS and PPS repeated before every IDR picture. `keyFrame`, when given, tells
    // whether the picture is an IDR picture. 0, -EINVAL for a frame not of the encoder's
    // size, -EIO when x264 fails.
    int encode(const Frame& frame, std::vector<uint8_t>& out, bool* keyFrame);

private:
    H264Encoder(x264_t* encoder, const H264Settings& settings)
        : mEncoder(encoder), mSettings(settings) {}

    x264_t* mEncoder;
    const H264Settings mSettings;
    int64_t mPts = 0;
};

}  // namespace host::video
