#include "audio/tone_input.h"

#include <cmath>

#include "audio/pcm_sample.h"

namespace host::audio {
namespace {

constexpr double kTwoPi = 6.283185307179586;

double fullScale(uint32_t bitsPerSample) { return std::ldexp(1.0, bitsPerSample - 1); }

}  // namespace

ToneInput::ToneInput(const PcmFormat& format)
    : mFormat(format), mAmplitude(kToneLevel * fullScale(format.bitsPerSample)) {}

int ToneInput::read(uint8_t* frames, std::size_t bytes) {
    const uint32_t width = mFormat.sampleBytes();
    const std::size_t count = bytes / mFormat.frameBytes();
    for (std::size_t i = 0; i < count; ++i) {
        double phase = kTwoPi * kToneHz * mFrame / mFormat.rate;
        auto value = static_cast<int32_t>(std::lround(mAmplitude * std::sin(phase)));
        for (uint32_t c = 0; c < mFormat.channels; ++c, frames += width)
            writeSample(frames, width, value);
        mFrame = (mFrame + 1) % mFormat.rate;
    }
    return 0;
}

}  // namespace host::audio
