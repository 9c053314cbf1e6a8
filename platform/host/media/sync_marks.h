// The sync marks switch: while on, the picture stamped at each whole second of the
// monotonic clock is white and the captured sound carries a beep from that instant, so
// that a client can measure how far sound and picture drift apart and how late they
// arrive. Picture times then lie on a grid through the whole seconds, for frame rates
// that divide a second; at other rates the first picture of each second is white.
#pragma once

#include <chrono>
#include <cstdint>

namespace host::media {

void setSyncMarks(bool on);
bool syncMarks();

constexpr uint64_t kSecondUs = 1000000;

// Whether a picture of `period` stamped `us` is the mark of its second: the first
// picture at or after a whole second.
bool isSyncMark(uint64_t us, std::chrono::nanoseconds period);

// The first instant at or after `us` of the grid of `period` through the whole seconds;
// `us` itself when no whole number of periods makes a second.
uint64_t onSyncGrid(uint64_t us, std::chrono::nanoseconds period);

}  // namespace host::media
