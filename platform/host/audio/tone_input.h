// The generator microphone: a steady sine tone of kToneHz at kToneLevel of full scale
// (-12 dBFS), the same in every channel and continuous in phase from one read to the
// next, for captures that need real, recognisable sound without a device.
#pragma once

#include "audio/pcm_input.h"

namespace host::audio {

constexpr uint32_t kToneHz = 1000;
constexpr double kToneLevel = 0.25;

class ToneInput : public PcmInput {
public:
    explicit ToneInput(const PcmFormat& format);

    int read(uint8_t* frames, std::size_t bytes) override;

private:
    const PcmFormat mFormat;
    const double mAmplitude;  // in the samples' own scale
    // The next frame's place within the second: a whole number of cycles fits in a
    // second, so counting modulo the rate keeps the phase exact however long it runs.
    uint32_t mFrame = 0;
};

}  // namespace host::audio
