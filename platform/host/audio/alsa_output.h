// The ALSA speaker: plays through an ALSA PCM by name ("default", "hw:0,0", or any PCM
// an asoundrc defines), interleaved, in the stream's own format.
//
// The channel's device thread paces the writes by the monotonic clock, as for every
// speaker; ALSA keeps about kAlsaLatency queued ahead of the card, so the card's clock
// and the monotonic one may differ slightly: a write that finds the card run dry
// recovers and goes on.
#pragma once

#include <alsa/asoundlib.h>

#include <chrono>

#include "audio/pcm_output.h"

namespace host::audio {

constexpr std::chrono::microseconds kAlsaLatency{100000};

class AlsaOutput : public PcmOutput {
public:
    // 0 or ALSA's negative code.
    static int open(const std::string& pcmName, const PcmFormat& format,
                    std::unique_ptr<PcmOutput>* output);
    // Lets the card play what is queued, then closes.
    ~AlsaOutput() override;

    int play(const uint8_t* frames, std::size_t bytes) override;

private:
    AlsaOutput(snd_pcm_t* pcm, uint32_t frameBytes) : mPcm(pcm), mFrameBytes(frameBytes) {}

    snd_pcm_t* mPcm;
    const uint32_t mFrameBytes;
};

}  // namespace host::audio
