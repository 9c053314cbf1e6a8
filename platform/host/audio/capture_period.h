// The capture period: every capture channel delivers its samples in buffers of
// kCapturePeriod, one per period, the frame length camera applications use for voice.
//
// A period holds rate x 20 ms frames. Where that is not whole (11025 Hz: 220.5) the
// periods differ by a frame, so that the count stays exact over time: period n starts
// at frame floor(n x rate x 20 ms), and 11025 Hz alternates 220 and 221 frames.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace host::audio {

constexpr std::chrono::milliseconds kCapturePeriod{20};
// A stream this far behind its clock (a stopped process) counts afresh from now
// instead of catching up.
constexpr std::chrono::milliseconds kCaptureMaxLag{200};

// The first frame of period `index`, counted from the stream's start.
uint64_t capturePeriodStart(uint64_t index, uint32_t rate);
// The most frames any period holds at `rate`.
std::size_t maxCapturePeriodFrames(uint32_t rate);
// How long `frames` frames last, in microseconds rounded down, without overflow for any
// run a process lives through.
uint64_t microsecondsOf(uint64_t frames, uint32_t rate);

}  // namespace host::audio
