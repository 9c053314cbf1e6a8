// Where a playback channel's samples go: the speaker of the host platform. The device
// name picks it (audio/device_name.h):
//   - "alsa:NAME": ALSA's PCM NAME ("alsa:default" is the PC's speaker);
//   - a WAV file: of exactly what is played, silence included;
//   - anything else: memory that keeps the latest seconds played, for inspection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/pcm_format.h"

namespace host::audio {

class PcmOutput {
public:
    virtual ~PcmOutput() = default;  // closes the device; a file is complete afterwards

    // Plays whole frames; 0 or a negative code.
    virtual int play(const uint8_t* frames, std::size_t bytes) = 0;
    // The latest samples played, for devices that keep them; empty for the others.
    virtual std::vector<uint8_t> kept() const { return {}; }
};

// Opens the device `name` names for `format` into *output. 0, or a negative code from
// the file system, libsndfile or ALSA, each with a record naming the device: -EINVAL for
// a file name without a ".wav" ending, -ENOTSUP for an ALSA name where the host was built
// without it.
int openPcmOutput(const std::string& name, const PcmFormat& format,
                  std::unique_ptr<PcmOutput>* output);

}  // namespace host::audio
