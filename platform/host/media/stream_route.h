// Where an image channel's pictures go right now: through its overlay channel, if one
// is bound and enabled, to every encoder channel that somebody takes buffers from.
// The video stream reads it afresh for every picture, so the graph may change while
// the stream runs.
#pragma once

#include <cstdint>
#include <vector>

#include "media/channel.h"
#include "media/channel_kind.h"
#include "rts_av.h"

namespace host::media {

struct EncoderRoute {
    int channel;
    ChannelKind kind;    // H264 or Mjpeg
    rts_h264_attr h264;  // H264 only
    int h264Profile;     // H264 only
    int jpegQuality;     // Mjpeg only
};

struct StreamRoute {
    rts_av_profile profile{};        // the image channel's
    uint32_t overlayPack = kNoPack;  // drawn into every picture
    uint32_t maskPack = kNoPack;     // drawn into every picture, under the overlay pack
    std::vector<EncoderRoute> encoders;
};

}  // namespace host::media
