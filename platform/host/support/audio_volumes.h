// The playback and capture volumes and mutes as the support library's calls leave them,
// for the calls themselves and for the audio devices, which apply them to the samples.
// Volumes run from 0 to 100 and start at 100, unmuted; hostctl::reset() restores that.
#pragma once

namespace host::support {

struct VolumeState {
    int volume;  // 0 to 100
    bool muted;
};

// Safe to call from any thread: the devices read them from their own.
VolumeState playbackVolume();
VolumeState captureVolume();

// Both directions back to volume 100, unmuted.
void resetAudioVolumes();

}  // namespace host::support
