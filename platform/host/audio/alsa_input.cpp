#include "audio/alsa_input.h"

#include <cerrno>
#include <string>

#include "audio/alsa_format.h"
#include "audio/capture_period.h"
#include "audio/device_name.h"

namespace host::audio {
namespace {

using Clock = std::chrono::steady_clock;

int report(const std::string& pcmName, const char* step, int rc) {
    return refuseDevice(kMicrophone, "alsa:" + pcmName, std::string(step) + ": " + snd_strerror(rc),
                        rc);
}

// The stream's format, letting ALSA resample for a card that lacks the rate, and
// periods of the capture period.
int configure(snd_pcm_t* pcm, const PcmFormat& format) {
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    unsigned int periodUs = std::chrono::microseconds(kCapturePeriod).count();
    unsigned int bufferUs = std::chrono::microseconds(kAlsaCaptureBuffer).count();
    int rc = snd_pcm_hw_params_any(pcm, hw);
    if (rc >= 0) rc = snd_pcm_hw_params_set_rate_resample(pcm, hw, 1);
    if (rc >= 0) rc = snd_pcm_hw_params_set_access(pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED);
    if (rc >= 0) rc = snd_pcm_hw_params_set_format(pcm, hw, alsaFormatOf(format.bitsPerSample));
    if (rc >= 0) rc = snd_pcm_hw_params_set_channels(pcm, hw, format.channels);
    if (rc >= 0) rc = snd_pcm_hw_params_set_rate(pcm, hw, format.rate, 0);
    if (rc >= 0) rc = snd_pcm_hw_params_set_period_time_near(pcm, hw, &periodUs, nullptr);
    if (rc >= 0) rc = snd_pcm_hw_params_set_buffer_time_near(pcm, hw, &bufferUs, nullptr);
    if (rc >= 0) rc = snd_pcm_hw_params(pcm, hw);
    return rc;
}

}  // namespace

int AlsaInput::open(const std::string& pcmName, const PcmFormat& format,
                    std::unique_ptr<PcmInput>* input) {
    snd_pcm_t* pcm = nullptr;
    // Non-blocking, so that a busy device is refused at once and a read can time out.
    int rc = snd_pcm_open(&pcm, pcmName.c_str(), SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK);
    if (rc < 0) return report(pcmName, "open", rc);
    rc = configure(pcm, format);
    if (rc < 0) {
        snd_pcm_close(pcm);
        return report(pcmName, "set parameters", rc);
    }
    input->reset(new AlsaInput(pcm, format.frameBytes()));
    return 0;
}

AlsaInput::~AlsaInput() {
    snd_pcm_drop(mPcm);
    snd_pcm_close(mPcm);
}

int AlsaInput::read(uint8_t* frames, std::size_t bytes) {
    snd_pcm_uframes_t left = bytes / mFrameBytes;
    Clock::time_point giveUp = Clock::now() + kAlsaReadTimeout;
    while (left > 0) {
        snd_pcm_sframes_t got = snd_pcm_readi(mPcm, frames, left);
        if (got == -EAGAIN) {
            auto wait =
                std::chrono::duration_cast<std::chrono::milliseconds>(giveUp - Clock::now());
            if (wait.count() <= 0) return -ETIMEDOUT;
            snd_pcm_wait(mPcm, static_cast<int>(wait.count()));
            continue;
        }
        if (got < 0) {
            // An overrun or a suspend: these samples are lost, but the next read goes on.
            int rc = snd_pcm_recover(mPcm, static_cast<int>(got), 1);
            return rc < 0 ? rc : static_cast<int>(got);
        }
        frames += static_cast<std::size_t>(got) * mFrameBytes;
        left -= static_cast<snd_pcm_uframes_t>(got);
    }
    return 0;
}

uint64_t AlsaInput::framesWaiting() {
    snd_pcm_sframes_t waiting = snd_pcm_avail_update(mPcm);
    return waiting > 0 ? static_cast<uint64_t>(waiting) : 0;
}

}  // namespace host::audio
