// The samples of one enabled capture channel: a platform thread that reads the
// channel's input (audio/pcm_input.h) one capture period at a time
// (audio/capture_period.h), applies the support library's capture volume and mute, and
// hands each buffer down the channel's route (media/capture_route.h), converted once
// per resample channel whose format differs from the captured one. A resample channel
// of the captured format passes the buffer on untouched. Nothing is converted or
// published while nobody takes the buffers, but the input keeps its clock.
//
// Timestamps are microseconds on the media channels' monotonic clock, the time of the
// buffer's first sample; a resampled buffer keeps its input's.
//   - An input the host paces (tone, WAV file) is read at the start of each period and
//     published once the period has passed, so stamps are exactly a period apart,
//     counted from the start. A stream kCaptureMaxLag behind (a stopped process) counts
//     afresh from now.
//   - A sound card keeps its own time: its buffer is stamped when the read completes,
//     less the duration of the buffer and of what the card holds beyond it, and
//     published at once. Reads start at least half a period apart, which a card
//     delivering in real time never meets, so that a device without a clock (ALSA's
//     null plugin) cannot keep the thread busy, while a backlog still drains at twice
//     real time.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "audio/pcm_input.h"
#include "audio/resampler.h"
#include "media/capture_route.h"
#include "rts_av.h"

namespace host::media {

class StreamSink;

struct CaptureCounts {
    uint64_t periods = 0;      // read from the input
    uint64_t inputErrors = 0;  // reads the input failed; those periods are lost
};

class CaptureStream {
public:
    // Opens the input the attributes' device name names and starts the thread; 0 or
    // the input's code.
    static int open(StreamSink& sink, int captureChannel, const rts_audio_attr& attr,
                    std::unique_ptr<CaptureStream>* stream);
    // Stops the thread and waits for it; call without holding the platform's lock.
    ~CaptureStream();
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    CaptureCounts counts() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Samples {
        const uint8_t* data;
        std::size_t bytes;
    };

    // One resample channel's conversion, kept while it has somebody to convert for.
    struct Conversion {
        std::unique_ptr<audio::Resampler> resampler;  // null for formats it refused
        bool created = false;
        std::vector<uint8_t> samples;
        uint64_t period = 0;  // the period `samples` hold; 0 before the first
        bool ok = false;
    };

    CaptureStream(StreamSink& sink, int captureChannel, const audio::PcmFormat& format,
                  std::unique_ptr<audio::PcmInput> input);

    void run();
    void paceByClock();
    void followDevice();
    // Reads `frames` frames into mCaptured; whether it succeeded.
    bool readPeriod(std::size_t frames);
    void deliver(std::size_t frames, uint64_t timestampUs);
    // What `target` delivers of the captured samples; none when its conversion failed.
    std::optional<Samples> samplesFor(const CaptureTarget& target, std::size_t bytes);
    // Converts the captured samples for a resample channel of `format`; whether it did.
    bool convert(const AudioFormat& format, Conversion& conversion, std::size_t bytes);
    // Forgets the conversions of resample channels that convert for nobody now, so that
    // a reader who comes back starts with a fresh filter.
    void dropIdleConversions();
    // Waits for `deadline` or a stop; false when stopped.
    bool sleepUntil(Clock::time_point deadline);

    StreamSink& mSink;
    const int mChannel;
    const audio::PcmFormat mFormat;
    std::unique_ptr<audio::PcmInput> mInput;

    std::vector<uint8_t> mCaptured;  // one period, in the capture format
    CaptureRoute mRoute;
    std::map<int, Conversion> mConversions;  // by resample channel
    uint64_t mPeriod = 0;                    // periods read, counting from 1

    std::atomic<uint64_t> mPeriodsRead{0};
    std::atomic<uint64_t> mInputErrors{0};

    std::mutex mWakeMutex;
    std::condition_variable mWake;
    bool mStopping = false;
    std::thread mThread;  // last: starts once everything else is ready
};

}  // namespace host::media
