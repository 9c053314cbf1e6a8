#include "audio/alsa_output.h"

#include <string>

#include "audio/alsa_format.h"
#include "audio/device_name.h"

namespace host::audio {
namespace {

void report(const std::string& pcmName, const char* step, int rc) {
    refuseDevice(kSpeaker, "alsa:" + pcmName, std::string(step) + ": " + snd_strerror(rc), rc);
}

}  // namespace

int AlsaOutput::open(const std::string& pcmName, const PcmFormat& format,
                     std::unique_ptr<PcmOutput>* output) {
    snd_pcm_t* pcm = nullptr;
    int rc = snd_pcm_open(&pcm, pcmName.c_str(), SND_PCM_STREAM_PLAYBACK, 0);
    if (rc < 0) {
        report(pcmName, "open", rc);
        return rc;
    }
    rc = snd_pcm_set_params(pcm, alsaFormatOf(format.bitsPerSample), SND_PCM_ACCESS_RW_INTERLEAVED,
                            format.channels, format.rate,
                            1 /* let ALSA resample for a card that lacks the rate */,
                            static_cast<unsigned int>(kAlsaLatency.count()));
    if (rc < 0) {
        report(pcmName, "set parameters", rc);
        snd_pcm_close(pcm);
        return rc;
    }
    output->reset(new AlsaOutput(pcm, format.frameBytes()));
    return 0;
}

AlsaOutput::~AlsaOutput() {
    snd_pcm_drain(mPcm);
    snd_pcm_close(mPcm);
}

int AlsaOutput::play(const uint8_t* frames, std::size_t bytes) {
    snd_pcm_uframes_t left = bytes / mFrameBytes;
    bool recovered = false;
    while (left > 0) {
        snd_pcm_sframes_t written = snd_pcm_writei(mPcm, frames, left);
        if (written < 0) {
            // An underrun or a suspend: recover once per write, then give up on it.
            if (recovered || snd_pcm_recover(mPcm, static_cast<int>(written), 1) < 0)
                return static_cast<int>(written);
            recovered = true;
            continue;
        }
        frames += static_cast<std::size_t>(written) * mFrameBytes;
        left -= static_cast<snd_pcm_uframes_t>(written);
    }
    return 0;
}

}  // namespace host::audio
