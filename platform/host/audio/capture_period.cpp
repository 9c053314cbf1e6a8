#include "audio/capture_period.h"

namespace host::audio {
namespace {

constexpr uint64_t kPeriodMs = static_cast<uint64_t>(kCapturePeriod.count());

}  // namespace

uint64_t capturePeriodStart(uint64_t index, uint32_t rate) {
    return index * rate * kPeriodMs / 1000u;
}

std::size_t maxCapturePeriodFrames(uint32_t rate) {
    return static_cast<std::size_t>((rate * kPeriodMs + 999u) / 1000u);
}

uint64_t microsecondsOf(uint64_t frames, uint32_t rate) {
    return frames / rate * 1'000'000u + frames % rate * 1'000'000u / rate;
}

}  // namespace host::audio
