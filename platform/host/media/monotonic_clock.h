// The clock every buffer of the media channels is stamped with: CLOCK_MONOTONIC in
// microseconds, so that pictures and sound captured together carry comparable times.
#pragma once

#include <time.h>

#include <chrono>
#include <cstdint>

namespace host::media {

inline uint64_t monotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000u +
           static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

// std::chrono::steady_clock reads CLOCK_MONOTONIC on Linux: its time points and these
// microseconds name the same instants.
inline std::chrono::steady_clock::time_point monotonicTimePoint(uint64_t us) {
    return std::chrono::steady_clock::time_point(std::chrono::microseconds(us));
}

inline uint64_t monotonicMicrosecondsOf(std::chrono::steady_clock::time_point at) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(at.time_since_epoch()).count());
}

}  // namespace host::media
