// The clock every buffer of the media channels is stamped with: CLOCK_MONOTONIC in
// microseconds, so that pictures and sound captured together carry comparable times.
#pragma once

#include <time.h>

#include <cstdint>

namespace host::media {

inline uint64_t monotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000u +
           static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

}  // namespace host::media
