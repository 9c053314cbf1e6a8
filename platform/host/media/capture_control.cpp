// The control interface's view of the capture channels.
#include "audio/capture_period.h"
#include "audio/tone_input.h"
#include "control/host_control.h"
#include "media/media_platform.h"

namespace hostctl {

static_assert(kCapturePeriodMs == host::audio::kCapturePeriod.count());
static_assert(kCaptureToneHz == host::audio::kToneHz);
static_assert(kCaptureToneLevel == host::audio::kToneLevel);

CaptureStats captureStats(int chn) {
    auto counts = host::media::media().captureCounts(chn);
    if (!counts) return {};
    return {counts->periods, counts->inputErrors};
}

}  // namespace hostctl
