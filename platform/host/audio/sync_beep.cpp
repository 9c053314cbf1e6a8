#include "audio/sync_beep.h"

#include <cmath>
#include <numeric>

#include "audio/pcm_sample.h"

namespace host::audio {
namespace {

constexpr uint64_t kSecondUs = 1000000;
constexpr double kTwoPi = 6.283185307179586;

// The grid's step: the shortest time that is a whole number of frames, 40 ms at
// 11025 Hz, 125 us at 48000 Hz.
uint64_t gridStepUs(uint32_t rate) { return kSecondUs / std::gcd(kSecondUs, uint64_t{rate}); }

}  // namespace

uint64_t syncGridStart(uint64_t us, uint32_t rate) {
    const uint64_t step = gridStepUs(rate);
    return (us + step - 1) / step * step;
}

uint32_t frameOfSecond(uint64_t us, uint32_t rate) {
    return static_cast<uint32_t>(us % kSecondUs * rate / kSecondUs);
}

void writeSyncBeep(uint8_t* frames, std::size_t count, const PcmFormat& format,
                   uint32_t firstOfSecond) {
    const uint32_t beepFrames = format.rate * kSyncBeepMs / 1000;
    const uint32_t width = format.sampleBytes();
    const double amplitude = kSyncBeepLevel * std::ldexp(1.0, format.bitsPerSample - 1);
    for (std::size_t i = 0; i < count; ++i, frames += format.frameBytes()) {
        const uint64_t k = (firstOfSecond + i) % format.rate;
        if (k >= beepFrames) continue;
        const auto value = static_cast<int32_t>(
            std::lround(amplitude * std::sin(kTwoPi * kSyncBeepHz * k / format.rate)));
        for (uint32_t c = 0; c < format.channels; ++c)
            writeSample(frames + c * width, width, value);
    }
}

}  // namespace host::audio
