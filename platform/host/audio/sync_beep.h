// The sound of the sync marks: a short high beep at the start of every whole second of
// the monotonic clock, written over what the microphone captured, so that a client can
// line it up with the white picture of the same instant.
#pragma once

#include <cstddef>
#include <cstdint>

#include "audio/pcm_format.h"

namespace host::audio {

constexpr uint32_t kSyncBeepHz = 4000;
constexpr uint32_t kSyncBeepMs = 40;
constexpr double kSyncBeepLevel = 0.5;  // of full scale: -6 dBFS, above the -12 dBFS tone

// The first microsecond at or after `us` at which a frame of a stream at `rate` falls on
// the grid that holds every whole second: a stream started there has a frame starting
// exactly at each whole second.
uint64_t syncGridStart(uint64_t us, uint32_t rate);

// The place within its second of the frame captured at `us`, a time on the rate's grid.
uint32_t frameOfSecond(uint64_t us, uint32_t rate);

// Writes the beep over those of `count` frames that lie in a beep, the first of them
// being frame `firstOfSecond` of its second (and later ones counting on, into the next
// seconds).
void writeSyncBeep(uint8_t* frames, std::size_t count, const PcmFormat& format,
                   uint32_t firstOfSecond);

}  // namespace host::audio
