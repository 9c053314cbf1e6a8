// The camera side of kq-live: both encoder channels with their overlays, one polling
// thread whose frame callbacks copy each frame once into the hub, the captured sound
// (audio_capture.h), and a playback sink for talkback.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "audio_capture.h"
#include "frame_hub.h"
#include "kq_api.h"
#include "module/audio_types.h"
#include "option_values.h"

namespace module {
class PcmSink;
}

namespace live {

struct CameraSettings {
    examples::VideoSize ch0;  // H.264
    examples::VideoSize ch1;  // MJPEG
    uint32_t bitrate;
    uint32_t gop;
    std::string logo;  // channel 0's watermark, a BMP file
    std::string icon;  // channel 1's privacy icon, a BMP file
    std::string mic;
    std::string speaker;
};

class Camera {
public:
    explicit Camera(FrameHub& hub);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    // Starts the library, both channels, capture and the sink, then polls on a thread
    // of its own. False, saying why, when the library or a channel does not start.
    bool start(const CameraSettings& settings);
    // Stops polling and everything start() started; the library is stopped last.
    void stop();

    // The talkback sink, playing kTalkbackFormat into the speaker device.
    std::shared_ptr<module::PcmSink> speaker() const { return mSpeaker; }
    static constexpr module::AudioParam kTalkbackFormat{48000, 1, 16, 20};
    // Where channel 0's watermark is put.
    static constexpr int kWatermarkPosition = KQ_POS_BOTTOM_RIGHT;

    uint64_t frames(int stream) const;

private:
    // What a channel's frame callback needs: its user data.
    struct ChannelFeed {
        FrameHub* hub;
        int stream;
        std::atomic<uint64_t> frames{0};
    };
    static int onFrame(const uint8_t* data, uint32_t length, uint32_t timestampMs,
                       uint32_t keyFrame, uint32_t, uint32_t, void* feed);

    bool startChannel(int channel, uint32_t encoding, const examples::VideoSize& size,
                      const CameraSettings& settings);
    void setUpOverlays(const CameraSettings& settings);
    void poll();

    FrameHub& mHub;
    ChannelFeed mFeeds[2];
    AudioCapture mCapture;
    std::shared_ptr<module::PcmSink> mSpeaker;
    bool mLibraryStarted = false;
    std::atomic<bool> mStopping{false};
    std::thread mPoller;
};

}  // namespace live
