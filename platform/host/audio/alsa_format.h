// The ALSA sample format of a stream's sample width (audio/pcm_format.h).
#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>

namespace host::audio {

inline snd_pcm_format_t alsaFormatOf(uint32_t bitsPerSample) {
    switch (bitsPerSample) {
        case 8: return SND_PCM_FORMAT_U8;
        case 16: return SND_PCM_FORMAT_S16_LE;
        case 24: return SND_PCM_FORMAT_S24_3LE;  // packed in three bytes
        default: return SND_PCM_FORMAT_S32_LE;
    }
}

}  // namespace host::audio
