#include "media/volume_gains.h"

#include "support/audio_volumes.h"

namespace host::media {
namespace {

audio::SampleGain gainOf(support::VolumeState volume) {
    return audio::SampleGain::forVolume(volume.volume, volume.muted);
}

}  // namespace

audio::SampleGain playbackGain() { return gainOf(support::playbackVolume()); }
audio::SampleGain captureGain() { return gainOf(support::captureVolume()); }

}  // namespace host::media
