// The pictures of one enabled image channel: a platform thread that takes the camera's
// picture at the channel's frame rate, shaded by the image settings, lets the overlay
// channel draw into it and encodes it for every encoder channel that wants it. Nothing
// is made while nobody takes the pictures.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "media/camera.h"
#include "media/stream_route.h"
#include "video/frame.h"
#include "video/h264_encoder.h"
#include "video/jpeg_encoder.h"

namespace host::media {

class StreamSink;

class VideoStream {
public:
    VideoStream(StreamSink& sink, int ispChannel);
    // Stops the thread and waits for it; call without holding the platform's lock.
    ~VideoStream();
    VideoStream(const VideoStream&) = delete;
    VideoStream& operator=(const VideoStream&) = delete;

private:
    void run();
    // Makes, draws and encodes the picture due at `due` for the route's encoders.
    void produce(const StreamRoute& route, std::chrono::steady_clock::time_point due,
                 std::chrono::steady_clock::duration period);
    // 0, or the encoder's code; a failed picture is counted as dropped.
    int encodeFor(const EncoderRoute& encoder, const rts_av_profile& profile, uint32_t* flags);
    video::H264Encoder* h264EncoderFor(const EncoderRoute& encoder, const rts_av_profile& profile);
    // Forgets the H.264 encoders of channels that no longer take pictures, so that a
    // reader who comes back starts at a key frame.
    void dropIdleEncoders(const StreamRoute& route);
    // Waits for `deadline` or a stop; false when stopped.
    bool sleepUntil(std::chrono::steady_clock::time_point deadline);

    StreamSink& mSink;
    const int mIspChannel;

    CameraView mCamera;
    video::Frame mFrame;
    uint64_t mFrameNumber = 0;
    struct H264Slot {
        video::H264Settings settings;
        std::unique_ptr<video::H264Encoder> encoder;  // null for settings x264 refused
        bool created = false;
    };

    std::map<int, H264Slot> mH264;  // by encoder channel
    video::JpegEncoder mJpeg;
    std::vector<uint8_t> mEncoded;

    std::mutex mWakeMutex;
    std::condition_variable mWake;
    bool mStopping = false;
    std::thread mThread;  // last: starts once everything else is ready
};

}  // namespace host::media
