// Where a capture channel's samples go right now: to its own reader, through each
// enabled resample channel bound to it to that channel's reader and to the encode
// channels it feeds, and to the encode channels bound to it directly, wherever somebody
// takes the buffers. The capture stream reads it afresh every period, so the graph may
// change while the stream runs.
#pragma once

#include <vector>

#include "media/channel.h"
#include "media/channel_config.h"

namespace host::media {

struct CaptureTarget {
    int channel;         // the channel whose reader gets the buffer
    int resampler;       // the resample channel converting for it, kNoChannel for none
    AudioFormat format;  // what it delivers: the resampler's target, else the capture's
    // False for an encode channel whose profile names another format than it is fed:
    // its buffers are counted as dropped rather than delivered wrong.
    bool accepted;
};

struct CaptureRoute {
    // Those of one resampler follow each other, so each resampler converts once.
    std::vector<CaptureTarget> targets;
};

}  // namespace host::media
