// Where a capture channel's samples come from: the microphone of the host platform. The
// device name picks it (audio/device_name.h):
//   - "alsa:NAME": ALSA's PCM NAME opened for capture ("alsa:default" is the PC's
//     microphone);
//   - a WAV file: played in a loop, sample for sample;
//   - anything else: a generated tone (audio/tone_input.h).
// Every input delivers interleaved frames in the channel's own format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "audio/pcm_format.h"

namespace host::audio {

class PcmInput {
public:
    virtual ~PcmInput() = default;  // closes the device

    // Fills `bytes` (whole frames) with the next samples; 0 or a negative code, after
    // which the buffer's contents are undefined and the input goes on with the next read.
    virtual int read(uint8_t* frames, std::size_t bytes) = 0;

    // Whether read() waits until the samples are captured, so that the device keeps the
    // stream's time (a sound card). Otherwise the samples are there at once and the
    // caller paces the reads.
    virtual bool keepsTime() const { return false; }
    // For inputs that keep time: frames captured after those of the last read, waiting
    // to be read; the last read's samples are that much older.
    virtual uint64_t framesWaiting() { return 0; }
};

// Opens the device `name` names for `format` into *input. 0, or a negative code from
// the file system, libsndfile or ALSA, each with a record naming the device: -EINVAL
// for a file name without a ".wav" ending or a WAV file whose rate or channel count
// differs from the format's, -ENOTSUP for an ALSA name where the host was built without
// it.
int openPcmInput(const std::string& name, const PcmFormat& format,
                 std::unique_ptr<PcmInput>* input);

}  // namespace host::audio
