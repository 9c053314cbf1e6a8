// The captured sound as AAC frames for the viewers: one module::MultiAudioSourceAacPcm
// whose AAC stream a thread of its own reads, timing each frame (capture_time.h) and
// publishing it to the hub. Nobody reads the PCM stream: the source's PCM queue drops
// its oldest frames by itself.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "capture_time.h"
#include "frame_hub.h"
#include "module/audio_types.h"

namespace module {
class MultiAudioSourceAacPcm;
class I_Source;
}  // namespace module

namespace live {

class AudioCapture {
public:
    explicit AudioCapture(FrameHub& hub) : mHub(hub) {}
    ~AudioCapture();
    AudioCapture(const AudioCapture&) = delete;
    AudioCapture& operator=(const AudioCapture&) = delete;

    // Starts capturing from the device `mic`.
    void start(const std::string& mic);
    void stop();

    uint64_t frames() const { return mFrames; }

    // What is captured: 48 kHz mono, 16 bits; the host delivers 20 ms a buffer.
    static constexpr module::AudioParam kFormat{48000, 1, 16, 20};
    static constexpr uint32_t kBufferMs = 20;

private:
    void read(std::shared_ptr<module::I_Source> aac);
    // Publishes each ADTS frame of one AAC buffer stamped `stampMs`.
    void publish(const uint8_t* data, std::size_t bytes, uint32_t stampMs, AacTimeline& timeline);

    FrameHub& mHub;
    std::shared_ptr<module::MultiAudioSourceAacPcm> mSource;
    std::atomic<bool> mStopping{false};
    std::atomic<uint64_t> mFrames{0};
    std::thread mReader;
};

}  // namespace live
