// What the video and capture streams see of the media channels: where their pictures
// and samples go now, and where to hand them. The streams run on threads of their own
// and ask afresh for each picture or period, so the graph may change while they run.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/capture_route.h"
#include "media/stream_route.h"

namespace host::media {

class StreamSink {
public:
    virtual ~StreamSink() = default;

    // Where image channel `isp`'s pictures go now; false (and no encoders) while the
    // channel is not enabled.
    virtual bool routeOf(int isp, StreamRoute* route) = 0;
    // Where capture channel `capture`'s samples go now; false (and no targets) while
    // the channel is not enabled.
    virtual bool captureRouteOf(int capture, CaptureRoute* route) = 0;
    // Hands a buffer channel `chn` made to its reader and its armed callback; a channel
    // that nobody takes from any more gets nothing.
    virtual void publish(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                         uint32_t flags) = 0;
    // A buffer the channel failed to make.
    virtual void countDropped(int chn) = 0;
};

}  // namespace host::media
