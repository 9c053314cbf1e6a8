// The kinds of media channel and what each kind may do: take a profile, need a source,
// deliver buffers to a reader, accept buffers from a writer, and which kinds it feeds.
#pragma once

namespace host::media {

enum class ChannelKind {
    Isp,            // camera frames
    Osd,            // draws overlays into the frames passing through
    H264,           // video encoder
    Mjpeg,          // JPEG encoder
    AudioCapture,   // microphone
    AudioPlayback,  // speaker
    AudioResample,  // converts rate, sample width and channel count
    AudioEncode,    // delivers captured audio (plain PCM)
};

// Whether rts_av_set_profile() applies to the kind.
bool takesProfile(ChannelKind kind);
// Whether the kind cannot be enabled before its profile is set.
bool needsProfile(ChannelKind kind);
// Whether the kind processes another channel's output and so needs a source to run.
bool needsSource(ChannelKind kind);
// Whether a reader may take the kind's buffers (rts_av_start_recv).
bool deliversBuffers(ChannelKind kind);
// Whether a writer may give the kind buffers (rts_av_start_send).
bool acceptsBuffers(ChannelKind kind);
// Whether a channel of kind `src` may feed one of kind `dst`.
bool canFeed(ChannelKind src, ChannelKind dst);

}  // namespace host::media
