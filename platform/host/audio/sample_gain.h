// The volume applied to samples on their way to the speaker, and from the microphone.
//
// The curve is a decibel taper: volume 100 is unity gain and leaves every sample
// bit-exact, each step below takes 0.5 dB off (50 is -25 dB, 1 is -49.5 dB), and
// volume 0 or mute is silence. Gains below unity are applied in 16.16 fixed point with
// rounding to nearest, so they never clip.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "audio/pcm_format.h"

namespace host::audio {

constexpr int kMaxVolume = 100;
constexpr double kDecibelsPerStep = 0.5;

class SampleGain {
public:
    // For a volume of 0 to kMaxVolume (values outside are clamped) and a mute switch.
    static SampleGain forVolume(int volume, bool muted);

    bool unity() const { return mGain == kUnity; }
    bool silent() const { return mGain == 0; }
    // The gain in 16.16 fixed point: 65536 is unity.
    uint32_t fixedPoint() const { return mGain; }

    // Scales whole samples of `format` in place; a trailing partial sample is left alone.
    void apply(uint8_t* samples, std::size_t bytes, const PcmFormat& format) const;

private:
    static constexpr uint32_t kUnity = 1u << 16;

    explicit SampleGain(uint32_t gain) : mGain(gain) {}

    uint32_t mGain;
};

// The gain to apply now, asked once for each period played: the owner of the volume
// (the support library's, through the media channels) decides it while the device runs.
using GainSource = std::function<SampleGain()>;

}  // namespace host::audio
