// How an audio channel's device name picks its device, the same for speakers and
// microphones:
//   - "alsa:NAME": ALSA's PCM NAME;
//   - a name with a '/' in it or a ".wav" ending (in any case): a WAV file, which must
//     then end in ".wav" and be usable as one (a speaker's can be created, a
//     microphone's exists and can be read);
//   - anything else: the host's own device (memory for a speaker, a tone for a
//     microphone).
// A name that cannot be used is refused with a record naming it, never replaced by
// another device. The library passes at most kMaxDeviceName characters and cuts longer
// names, so a record about a name of that length says so.
#pragma once

#include <string>

#include "rts_av.h"

namespace host::audio {

constexpr std::size_t kMaxDeviceName = sizeof(rts_audio_attr::dev_node) - 1;

// The roles records name a device by.
constexpr char kSpeaker[] = "speaker";
constexpr char kMicrophone[] = "microphone";

enum class DeviceKind { Alsa, WavFile, Builtin };

struct DeviceName {
    DeviceKind kind;
    std::string target;  // the ALSA PCM's name or the file's path; empty for Builtin
};

// 0 with *device, or -EINVAL with a record for a file name without a ".wav" ending.
// `role` names the device's part in the record: "speaker" or "microphone".
int parseDeviceName(const std::string& name, const char* role, DeviceName* device);

// Writes the record of device `name` refused as `role` because of `why`; returns `code`.
int refuseDevice(const char* role, const std::string& name, const std::string& why, int code);

}  // namespace host::audio
