#include "audio/playback_device.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "audio/sample_gain.h"
#include "log/host_log.h"

namespace host::audio {
namespace {

uint64_t monotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000u +
           static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

// How long `frames` frames last, exact to the nanosecond and without overflow for
// any run a process lives through.
std::chrono::nanoseconds durationOf(uint64_t frames, uint32_t rate) {
    uint64_t seconds = frames / rate;
    uint64_t rest = frames % rate * 1'000'000'000u / rate;
    return std::chrono::seconds(seconds) + std::chrono::nanoseconds(rest);
}

std::size_t periodBytes(const PcmFormat& format) {
    return std::max(format.bytesFor(kDevicePeriod), std::size_t{format.frameBytes()});
}

}  // namespace

int PlaybackDevice::open(const std::string& name, const PcmFormat& format, std::string label,
                         GainSource gain, std::unique_ptr<PlaybackDevice>* device) {
    std::unique_ptr<PcmOutput> output;
    if (int rc = openPcmOutput(name, format, &output); rc != 0) return rc;
    device->reset(new PlaybackDevice(format, std::move(label), std::move(gain), std::move(output)));
    return 0;
}

PlaybackDevice::PlaybackDevice(const PcmFormat& format, std::string label, GainSource gain,
                               std::unique_ptr<PcmOutput> output)
    : mFormat(format),
      mLabel(std::move(label)),
      mPeriodBytes(periodBytes(format)),
      mGain(std::move(gain)),
      mFifo(std::max(format.bytesFor(kFifoMinTime), mPeriodBytes), kFifoBuffers),
      mOutput(std::move(output)),
      mPeriod(mPeriodBytes),
      mArrivals(kArrivalHistory),
      mThread([this] { run(); }) {}

PlaybackDevice::~PlaybackDevice() { stop(); }

int PlaybackDevice::send(const uint8_t* data, std::size_t bytes) {
    if (bytes % mFormat.frameBytes() != 0)
        return log::refuse(-EINVAL, "%s: send of %zu bytes refused: not whole frames of %u bytes",
                           mLabel.c_str(), bytes, mFormat.frameBytes());
    int rc = mFifo.write(data, bytes, kDevicePeriod);
    if (rc == -EPIPE) return -EPERM;
    std::lock_guard<std::mutex> lock(mMutex);
    if (rc == -EAGAIN) {
        ++mStats.overflows;
        return rc;
    }
    if (bytes > 0) recordArrival(bytes);
    return rc;
}

void PlaybackDevice::recordArrival(std::size_t bytes) {
    mArrivals[mArrivalNext % kArrivalHistory] = {monotonicMicroseconds(),
                                                 static_cast<uint32_t>(bytes)};
    ++mArrivalNext;
    ++mStats.buffersReceived;
    mStats.bytesReceived += bytes;
}

void PlaybackDevice::stop() {
    std::lock_guard<std::mutex> stopLock(mStopMutex);
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mStopping = true;
    }
    mChanged.notify_all();
    mFifo.close();
    if (mThread.joinable()) mThread.join();
    std::unique_ptr<PcmOutput> output;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (!mOutput) return;
        mKept = mOutput->kept();
        output = std::move(mOutput);
        mRunning = false;
    }
    mChanged.notify_all();
    output.reset();  // outside the lock: a card may take a moment to drain
}

bool PlaybackDevice::sleepUntil(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mMutex);
    return !mChanged.wait_until(lock, deadline, [this] { return mStopping; });
}

void PlaybackDevice::run() {
    if (!mFifo.waitForData()) return;
    Clock::time_point start = Clock::now();
    uint64_t framesPlayed = 0;
    const uint64_t periodFrames = mPeriodBytes / mFormat.frameBytes();
    for (;;) {
        playPeriod();
        framesPlayed += periodFrames;
        Clock::time_point next = start + durationOf(framesPlayed, mFormat.rate);
        Clock::time_point now = Clock::now();
        if (next + kMaxLag < now) {
            start = now;
            framesPlayed = 0;
            next = now;
        }
        if (!sleepUntil(next)) return;
    }
}

void PlaybackDevice::playPeriod() {
    std::size_t received = mFifo.read(mPeriod.data(), mPeriodBytes);
    std::memset(mPeriod.data() + received, mFormat.silenceByte(), mPeriodBytes - received);
    mGain().apply(mPeriod.data(), received, mFormat);
    int rc = mOutput->play(mPeriod.data(), mPeriodBytes);

    std::lock_guard<std::mutex> lock(mMutex);
    bool filled = received == mPeriodBytes;
    if (!filled && mFed) ++mStats.underruns;
    mFed = filled;
    mStats.bytesPlayed += received;
    mStats.silenceBytes += mPeriodBytes - received;
    // The first failure is reported; a device that keeps failing would flood the log.
    if (rc != 0 && mStats.outputErrors++ == 0)
        log::report(log::kWarning, "%s: the speaker refused a period: %s", mLabel.c_str(),
                    std::strerror(-rc));
    mChanged.notify_all();
}

PlaybackStats PlaybackDevice::stats() const {
    std::lock_guard<std::mutex> lock(mMutex);
    PlaybackStats stats = mStats;
    stats.fifoBytes = mFifo.size();
    stats.fifoCapacity = mFifo.capacity();
    stats.running = mRunning;
    return stats;
}

std::vector<Arrival> PlaybackDevice::arrivals() const {
    std::lock_guard<std::mutex> lock(mMutex);
    std::size_t count = std::min(mArrivalNext, kArrivalHistory);
    std::vector<Arrival> out;
    out.reserve(count);
    for (std::size_t i = mArrivalNext - count; i < mArrivalNext; ++i)
        out.push_back(mArrivals[i % kArrivalHistory]);
    return out;
}

std::vector<uint8_t> PlaybackDevice::keptSamples() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mOutput ? mOutput->kept() : mKept;
}

bool PlaybackDevice::waitPlayed(uint64_t bytes, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] {
        return mStats.bytesPlayed >= bytes || !mRunning;
    }) && mStats.bytesPlayed >= bytes;
}

}  // namespace host::audio
