// The capture instants of the frames the library hands over, on CLOCK_MONOTONIC in
// nanoseconds, the clock the platform stamps pictures and sound with.
//
// Video: a frame callback's timestamp_ms is its picture's capture time (the platform
// buffer's stamp), in milliseconds cut to 32 bits.
//
// Audio: an AAC frame carries the stamp of the capture buffer whose samples completed
// it, not of the sound it holds. The encoder hands out a frame once the codec frame
// after it is complete (its lookahead), and its output starts with one frame of
// priming, so that the sound of the k-th frame out starts 3 codec frames (3 x 1024
// samples, 64 ms at 48 kHz) before the end of the sample that completed it. The stamp
// is the first sample's time of the capture buffer holding that sample (20 ms of PCM on
// the host), so the sound starts between 64 - 20 and 64 ms before the stamp (plus the
// millisecond the stamp was cut to). AacTimeline turns the stamps into times that follow
// each other by exactly 1024 samples, moved up whenever a stamp shows them early: they
// settle within 64 samples (by which 20 ms buffers and 1024-sample frames slide against
// each other) and that millisecond of the true start, never after it.
#pragma once

#include <cstdint>

namespace live {

int64_t monotonicNs();

// The 64-bit instant of a platform stamp `ms` (milliseconds of the monotonic clock cut
// to 32 bits) taken at most about 24 days before `nowNs`.
int64_t stampNs(uint32_t ms, int64_t nowNs);

class AacTimeline {
public:
    // For AAC of `rate` Hz whose capture buffers hold `bufferMs` of sound.
    AacTimeline(uint32_t rate, uint32_t bufferMs);

    // The start of the sound of the next AAC frame, whose stamp (as stampNs()) is
    // `stampNs`. Frames are given in order, one call each.
    int64_t next(int64_t stampNs);
    // Nanoseconds of sound one frame holds.
    int64_t frameNs() const;

    static constexpr uint32_t kFrameSamples = 1024;
    // Codec frames between a frame's start and the end of the sample that completes it.
    static constexpr uint32_t kDelayFrames = 3;

private:
    int64_t samplesNs(uint64_t samples) const;

    const uint32_t mRate;
    const int64_t mBufferNs;
    bool mStarted = false;
    int64_t mFirstNs = 0;  // the start of the first frame of the current run
    uint64_t mFrames = 0;  // frames since then
};

}  // namespace live
