// One playback channel's speaker while the channel sends: its output, the FIFO the
// sender fills and the device thread that empties it in real time.
//
// The device starts at the first byte received and then plays one period
// (kDevicePeriod of audio) at the start of each period, on the monotonic clock and
// counted from the start, so the rate does not drift. Each period takes what the FIFO
// holds, up to a period's worth, applies the gain its owner hands it (the playback
// volume and mute), and fills the rest with silence. A device more than kMaxLag behind (a stopped
// process, a blocking card) counts afresh from now.
//
// Underruns: the device is fed while each period is filled from the FIFO. The first
// period that the FIFO cannot fill, from the start or after a filled one, counts one
// underrun; the silence of the periods after it belongs to the same underrun until a
// period is filled again. Before the first byte nothing is played and nothing counted.
//
// The FIFO holds at least kFifoMinTime of audio and at least kFifoBuffers buffers of
// the largest size sent: the playback sink's burst of four fits with room for the next
// period's buffer. A send into a full FIFO waits up to one period for room, then is
// refused with -EAGAIN and counted as an overflow.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "audio/pcm_fifo.h"
#include "audio/pcm_format.h"
#include "audio/pcm_output.h"
#include "audio/sample_gain.h"

namespace host::audio {

constexpr std::chrono::milliseconds kDevicePeriod{10};
constexpr std::chrono::milliseconds kMaxLag{200};
constexpr std::chrono::milliseconds kFifoMinTime{40};
constexpr std::size_t kFifoBuffers = 6;
// Arrivals remembered, the latest first to stay: 5.5 minutes of 20 ms buffers.
constexpr std::size_t kArrivalHistory = 16384;

struct Arrival {
    uint64_t timeUs;  // monotonic clock, when the buffer entered the FIFO
    uint32_t bytes;
};

struct PlaybackStats {
    uint64_t buffersReceived = 0;
    uint64_t bytesReceived = 0;
    uint64_t bytesPlayed = 0;   // of those received; silence not included
    uint64_t silenceBytes = 0;  // inserted while the FIFO ran dry
    uint64_t underruns = 0;
    uint64_t overflows = 0;     // sends refused for a full FIFO
    uint64_t outputErrors = 0;  // periods the output failed to take
    std::size_t fifoBytes = 0;  // waiting now
    std::size_t fifoCapacity = 0;
    bool running = false;  // from open() until stop()
};

class PlaybackDevice {
public:
    // Opens the output `name` names and starts the device thread; 0 or the output's code.
    // `label` names the device in its records ("playback chn 5"); `gain` is asked for
    // the gain of each period.
    static int open(const std::string& name, const PcmFormat& format, std::string label,
                    GainSource gain, std::unique_ptr<PlaybackDevice>* device);
    ~PlaybackDevice();
    PlaybackDevice(const PlaybackDevice&) = delete;
    PlaybackDevice& operator=(const PlaybackDevice&) = delete;

    // Copies whole frames into the FIFO. 0; -EINVAL, with a record, for a count that is
    // not whole frames;
    // -EAGAIN when the FIFO stayed full for a period; -EPERM once stopped.
    int send(const uint8_t* data, std::size_t bytes);
    // Ends the thread and waits for it, then closes the output (a file is complete
    // afterwards). Wakes a send that waits. Idempotent; never from the device thread.
    void stop();

    const PcmFormat& format() const { return mFormat; }
    PlaybackStats stats() const;
    // Oldest first, at most kArrivalHistory.
    std::vector<Arrival> arrivals() const;
    // What an in-memory output keeps; empty for other outputs. Kept after stop().
    std::vector<uint8_t> keptSamples() const;
    // Waits until `bytes` received bytes have been played or the device stopped;
    // whether they were played.
    bool waitPlayed(uint64_t bytes, std::chrono::milliseconds timeout) const;

private:
    using Clock = std::chrono::steady_clock;

    PlaybackDevice(const PcmFormat& format, std::string label, GainSource gain,
                   std::unique_ptr<PcmOutput> output);

    void run();
    void playPeriod();
    // Waits for `deadline` or a stop; false when stopped.
    bool sleepUntil(Clock::time_point deadline);
    void recordArrival(std::size_t bytes);

    const PcmFormat mFormat;
    const std::string mLabel;
    const std::size_t mPeriodBytes;
    const GainSource mGain;
    PcmFifo mFifo;
    std::unique_ptr<PcmOutput> mOutput;  // the device thread's until stop() closes it
    std::vector<uint8_t> mPeriod;        // the device thread's scratch
    bool mFed = true;                    // the device thread's: see Underruns above

    mutable std::mutex mMutex;  // guards what follows
    mutable std::condition_variable mChanged;
    bool mStopping = false;
    bool mRunning = true;
    PlaybackStats mStats;
    std::vector<Arrival> mArrivals;  // a ring of kArrivalHistory
    std::size_t mArrivalNext = 0;
    std::vector<uint8_t> mKept;  // the output's kept samples once it is closed

    std::mutex mStopMutex;  // one stop() at a time
    std::thread mThread;    // last: starts once everything else is ready
};

}  // namespace host::audio
