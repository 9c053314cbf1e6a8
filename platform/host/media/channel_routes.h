// Questions about the channel graph that span several channels: where an image or
// capture channel's output goes, which encode channel a source can feed, which overlay
// channel a mask pack fits, and whose buffer some samples lie in. Not locked: the
// media platform asks them under its lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "media/capture_route.h"
#include "media/channel_registry.h"
#include "media/stream_route.h"

namespace host::media {

// Fills `route` for image channel `isp`; false while it is not enabled.
bool findStreamRoute(ChannelRegistry& channels, int isp, StreamRoute* route);
// Fills `route` for capture channel `capture`; false while it is not enabled.
bool findCaptureRoute(ChannelRegistry& channels, int capture, CaptureRoute* route);
// 0, or -EINVAL for an encode channel that cannot deliver what its source feeds it.
int checkFormatFed(ChannelRegistry& channels, const Channel& c);
// The newest overlay channel without a mask pack whose source is an image channel
// with a `width` x `height` profile; null for none.
Channel* findMaskTarget(ChannelRegistry& channels, uint32_t width, uint32_t height);
// The sample format of the `bytes` bytes at `data` when they lie in a buffer an audio
// channel handed out and that is not given back yet; none otherwise.
std::optional<AudioFormat> findReceivedFormat(ChannelRegistry& channels, const void* data,
                                              std::size_t bytes);

}  // namespace host::media
