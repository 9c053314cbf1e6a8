// The ALSA microphone: records from an ALSA PCM by name ("default", "hw:0,0", or any
// PCM an asoundrc defines), interleaved, in the channel's own format.
//
// The card keeps the time: a read waits until a period's samples are captured. ALSA is
// asked for periods of kCapturePeriod in a buffer of kAlsaCaptureBuffer, which rides out
// a stall of the reading thread; one longer than that overruns, and the read that finds
// the overrun reports it and recovers, so the next read goes on. A read that gets no
// samples for kAlsaReadTimeout (a card that stopped delivering) gives up, so the thread
// can always be stopped.
#pragma once

#include <alsa/asoundlib.h>

#include <chrono>

#include "audio/pcm_input.h"

namespace host::audio {

constexpr std::chrono::milliseconds kAlsaCaptureBuffer{500};
constexpr std::chrono::milliseconds kAlsaReadTimeout{500};

class AlsaInput : public PcmInput {
public:
    // 0 or ALSA's negative code.
    static int open(const std::string& pcmName, const PcmFormat& format,
                    std::unique_ptr<PcmInput>* input);
    ~AlsaInput() override;

    // 0; -ETIMEDOUT when the card delivered nothing for kAlsaReadTimeout; ALSA's code
    // for an overrun or a lost device.
    int read(uint8_t* frames, std::size_t bytes) override;
    bool keepsTime() const override { return true; }
    uint64_t framesWaiting() override;

private:
    AlsaInput(snd_pcm_t* pcm, uint32_t frameBytes) : mPcm(pcm), mFrameBytes(frameBytes) {}

    snd_pcm_t* mPcm;
    const uint32_t mFrameBytes;
};

}  // namespace host::audio
