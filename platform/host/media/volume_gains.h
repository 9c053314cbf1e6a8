// The support library's volumes and mutes as the gains the audio devices apply, read
// afresh for each period so that a change is heard at once.
#pragma once

#include "audio/sample_gain.h"

namespace host::media {

audio::SampleGain playbackGain();
audio::SampleGain captureGain();

}  // namespace host::media
