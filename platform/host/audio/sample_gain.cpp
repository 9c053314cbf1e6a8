#include "audio/sample_gain.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "audio/pcm_sample.h"

namespace host::audio {
namespace {

int64_t scaled(int64_t sample, uint32_t gain) {
    // Rounds to nearest; the arithmetic shift rounds negative halves towards +inf,
    // which keeps the result within the sample's range for any gain below unity.
    return (sample * gain + (int64_t{1} << 15)) >> 16;
}

}  // namespace

SampleGain SampleGain::forVolume(int volume, bool muted) {
    volume = std::clamp(volume, 0, kMaxVolume);
    if (muted || volume == 0) return SampleGain(0);
    if (volume == kMaxVolume) return SampleGain(kUnity);
    double decibels = -kDecibelsPerStep * (kMaxVolume - volume);
    double gain = std::pow(10.0, decibels / 20.0);
    return SampleGain(static_cast<uint32_t>(std::lround(gain * kUnity)));
}

void SampleGain::apply(uint8_t* samples, std::size_t bytes, const PcmFormat& format) const {
    if (unity()) return;
    const uint32_t width = format.sampleBytes();
    if (width == 0) return;
    const std::size_t whole = bytes - bytes % width;
    if (silent()) {
        std::memset(samples, format.silenceByte(), whole);
        return;
    }
    for (std::size_t i = 0; i < whole; i += width) {
        int64_t value = scaled(readSample(samples + i, width), mGain);
        writeSample(samples + i, width, static_cast<int32_t>(value));
    }
}

}  // namespace host::audio
