// How an audio channel's device name picks its device, the same for speakers and
// microphones: "alsa:NAME" is ALSA's PCM NAME, a path ending in ".wav" a WAV file,
// anything else the host's own device (memory for a speaker, a tone for a microphone).
#pragma once

#include <string>

namespace host::audio {

enum class DeviceKind { Alsa, WavFile, Builtin };

struct DeviceName {
    DeviceKind kind;
    std::string target;  // the ALSA PCM's name or the file's path; empty for Builtin
};

DeviceName parseDeviceName(const std::string& name);

}  // namespace host::audio
