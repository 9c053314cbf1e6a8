#include "capture_time.h"

#include <time.h>

#include <algorithm>

namespace live {
namespace {

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSecond = 1000000000;

}  // namespace

int64_t monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kNsPerSecond + now.tv_nsec;
}

int64_t stampNs(uint32_t ms, int64_t nowNs) {
    // The difference of the cut values is the true one while it is under 2^31 ms; a
    // stamp a little ahead of now (a clock read just before it) comes out negative.
    const int64_t nowMs = nowNs / kNsPerMs;
    const int32_t ago = static_cast<int32_t>(static_cast<uint32_t>(nowMs) - ms);
    return (nowMs - ago) * kNsPerMs;
}

AacTimeline::AacTimeline(uint32_t rate, uint32_t bufferMs)
    : mRate(rate ? rate : 1), mBufferNs(int64_t{bufferMs} * kNsPerMs) {}

int64_t AacTimeline::samplesNs(uint64_t samples) const {
    return static_cast<int64_t>(samples * kNsPerSecond / mRate);
}

int64_t AacTimeline::frameNs() const { return samplesNs(kFrameSamples); }

// The frame's start lies in [earliest, latest]: at most the delay before the stamp, and
// at least a capture buffer less (the stamp being cut to whole milliseconds widens it
// by one). Counting samples from the first frame gives the start exactly; a count that
// leaves the window (a frame lost on the way, a device whose clock runs apart from the
// monotonic one) is moved just into it.
int64_t AacTimeline::next(int64_t stamp) {
    const int64_t earliest = stamp - samplesNs(kDelayFrames * kFrameSamples - 1);
    const int64_t latest = earliest + mBufferNs + kNsPerMs;
    int64_t start = mStarted ? mFirstNs + samplesNs(mFrames * kFrameSamples) : earliest;
    const int64_t moved = std::clamp(start, earliest, latest);
    if (!mStarted || moved != start) {
        mStarted = true;
        mFirstNs = moved;
        mFrames = 0;
    }
    ++mFrames;
    return moved;
}

}  // namespace live
